#include "Support/DevBackend.h"

#include "BuildPaths.h"
#include "Support/FileText.h"
#include "Support/WaitUntil.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace tandrel::test {

namespace {

std::filesystem::path newFolder() {
    static int count = 0;
    const std::filesystem::path folder =
        std::filesystem::path(std::getenv("HOME")) / ("backend" + std::to_string(++count));
    std::filesystem::create_directories(folder);
    return folder;
}

std::vector<std::string> command(const std::filesystem::path& folder,
                                 const std::vector<std::string>& arguments) {
    std::vector<std::string> all{TANDREL_BUILD_BIN "/quorvane-tandrel-dev-backend", "--port", "0",
                                 "--output", folder.string()};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return all;
}

/// Of the WAV files that the backend writes.
constexpr std::size_t headerBytes = 44;

std::string curl(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"curl", "-fsS", "--noproxy", "*", "--max-time", "10"});
    ChildProcess::Output output = ChildProcess::run(arguments, {});
    if (output.exitCode != 0) {
        throw std::runtime_error("the backend refused " + arguments.back());
    }
    return std::move(output.text);
}

} // namespace

DevBackend::DevBackend(const std::vector<std::string>& arguments)
    : folder_(newFolder())
    , process_(command(folder_, arguments), {}, folder_ / "log") {
    static constexpr std::string_view announcement = "listening on ";
    const bool isListening = waitUntil([this] {
        const std::string log = textOf(folder_ / "log");
        const auto start = log.find(announcement);
        const auto end = log.find('\n', start);
        if (start == std::string::npos || end == std::string::npos) {
            return false;
        }
        url_ = log.substr(start + announcement.size(), end - start - announcement.size());
        return true;
    });
    if (!isListening) {
        throw std::runtime_error("the backend did not start: " + textOf(folder_ / "log"));
    }
}

std::string DevBackend::startSession() {
    const auto answer = nlohmann::json::parse(send("POST", "/dev/sessions", "{}"));
    return answer.at("session_id").get<std::string>();
}

std::string DevBackend::get(const std::string& path) const {
    return curl({url_ + path});
}

std::string DevBackend::send(const std::string& method, const std::string& path,
                             const std::string& json) {
    return curl(
        {"-X", method, "-H", "Content-Type: application/json", "--data", json, url_ + path});
}

std::vector<std::int16_t> DevBackend::received(const std::string& session) const {
    const std::string wav = get("/dev/sessions/" + session + "/audio.wav");
    if (wav.size() < headerBytes) {
        return {};
    }
    std::vector<std::int16_t> samples((wav.size() - headerBytes) / sizeof(std::int16_t));
    std::memcpy(samples.data(), wav.data() + headerBytes, samples.size() * sizeof(std::int16_t));
    return samples;
}

std::vector<std::int16_t> DevBackend::recording(const std::string& session) const {
    const auto description = nlohmann::json::parse(get("/dev/sessions/" + session));
    const auto path = description.at("wav").get<std::string>();
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    const auto size = static_cast<std::size_t>(std::max<std::streamoff>(file.tellg(), 0));
    if (size < headerBytes) {
        throw std::runtime_error("no recording in " + path);
    }
    std::vector<std::int16_t> samples((size - headerBytes) / sizeof(std::int16_t));
    file.seekg(headerBytes);
    file.read(reinterpret_cast<char*>(samples.data()),
              static_cast<std::streamsize>(samples.size() * sizeof(std::int16_t)));
    return samples;
}

std::string DevBackend::lastEnd(const std::string& session) const {
    const auto description = nlohmann::json::parse(get("/dev/sessions/" + session));
    if (!description.contains("last_end")) {
        return {};
    }
    const auto& end = description.at("last_end");
    return end.at("by").get<std::string>() + ' ' + std::to_string(end.at("code").get<int>());
}

std::int64_t DevBackend::requestCount(const std::string& endpoint) const {
    return nlohmann::json::parse(get("/dev/status"))
        .at("requests")
        .at(endpoint)
        .get<std::int64_t>();
}

std::int64_t DevBackend::connectionCount(const std::string& session) const {
    return nlohmann::json::parse(get("/dev/sessions/" + session))
        .value("connections", std::int64_t{0});
}

std::int64_t DevBackend::messageCount(const std::string& session) const {
    const auto description = nlohmann::json::parse(get("/dev/sessions/" + session));
    return description.contains("audio")
               ? description.at("audio").at("messages").get<std::int64_t>()
               : 0;
}

} // namespace tandrel::test
