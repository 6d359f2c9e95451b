#include "Support/FileText.h"

#include <fstream>
#include <iterator>

namespace tandrel::test {

std::string textOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

} // namespace tandrel::test
