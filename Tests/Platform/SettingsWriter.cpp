// Another program at the settings file: writes values one after the other, or tells one.
//
//   SettingsWriter FILE PREFIX COUNT    writes PREFIX0=0, PREFIX1=1, …, each to the disk
//   SettingsWriter FILE KEY             prints the value of KEY

#include "Platform/Qt/SettingsUserDefaults.h"

#include <chrono>
#include <cstdio>
#include <string>

int main(int argc, char** argv) {
    constexpr int usage = 2;
    if (argc < 3) {
        return usage;
    }
    tandrel::SettingsUserDefaults settings(argv[1]);
    if (argc == 3) {
        std::fputs(settings.data(argv[2]).value_or("(none)").c_str(), stdout);
        return 0;
    }
    const int count = std::stoi(argv[3]);
    for (int number = 0; number < count; ++number) {
        settings.setData(argv[2] + std::to_string(number), std::to_string(number));
        if (!settings.flush(std::chrono::seconds(20))) {
            return 1;
        }
    }
    return 0;
}
