#include "EndToEnd/ReleaseScript.h"

#include "BuildPaths.h"
#include "Support/ChildProcess.h"
#include "Support/FileText.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace tandrel::test {

namespace {

std::filesystem::path makeFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "release-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no folder for the release");
    }
    return pattern;
}

void succeed(const std::vector<std::string>& arguments) {
    const auto outcome = ReleaseScript::run(arguments);
    if (outcome.exitCode != 0) {
        throw std::runtime_error("scripts/release: " + outcome.text);
    }
}

} // namespace

ReleaseScript::ReleaseScript()
    : folder_(makeFolder()) {}

ReleaseScript::~ReleaseScript() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

ReleaseScript::Outcome ReleaseScript::run(const std::vector<std::string>& arguments) {
    std::vector<std::string> command{TANDREL_SCRIPTS "/release"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const std::filesystem::path log = makeFolder() / "output";
    ChildProcess process(command, {}, log);
    const int exitCode = process.waitForExit(std::chrono::seconds(60)).value_or(-1);
    Outcome outcome{exitCode, textOf(log)};
    std::filesystem::remove_all(log.parent_path());
    return outcome;
}

std::filesystem::path ReleaseScript::makeKey(const std::string& name) const {
    std::filesystem::path key = folder_ / name;
    succeed({"key", key.string()});
    return key;
}

std::string ReleaseScript::publicKey(const std::filesystem::path& key) {
    std::string text = run({"public-key", key.string()}).text;
    text.erase(text.find_last_not_of('\n') + 1);
    return text;
}

std::filesystem::path ReleaseScript::makePackage(const std::string& bytes) const {
    std::filesystem::path package = folder_ / "package.deb";
    std::ofstream(package, std::ios::binary) << bytes;
    return package;
}

std::string ReleaseScript::makeFeed(const std::string& version,
                                    const std::vector<std::filesystem::path>& keys,
                                    const std::string& url, const std::string& bytes) const {
    const std::filesystem::path feed = folder_ / "appcast.xml";
    std::filesystem::remove(feed);
    std::vector<std::string> arguments{"add",   "--feed", feed.string(), "--version", version,
                                       "--url", url};
    for (const auto& key : keys) {
        arguments.insert(arguments.end(), {"--key", key.string()});
    }
    arguments.push_back(makePackage(bytes).string());
    succeed(arguments);
    return textOf(feed);
}

} // namespace tandrel::test
