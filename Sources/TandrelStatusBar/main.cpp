#include "BuildConfig.h"
#include "Program.h"

#include <string>

int main(int argc, char** argv) {
    using namespace tandrel;
    return runProgram(argc, argv,
                      {std::string(config::backendBaseURL), std::string(config::webAppBaseURL),
                       std::string(config::siteBaseURL), std::string(config::updateFeedURL),
                       std::string(config::updatePublicKey)});
}
