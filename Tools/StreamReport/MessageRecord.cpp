#include "MessageRecord.h"

#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>

namespace {

std::vector<std::string> fields(const std::string& line) {
    std::vector<std::string> result;
    std::istringstream stream(line);
    for (std::string field; std::getline(stream, field, ',');) {
        result.push_back(field);
    }
    return result;
}

} // namespace

std::vector<MessageRecord> readMessages(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    if (!std::getline(file, line)) {
        throw std::runtime_error(path + " cannot be read");
    }
    std::map<std::string, std::size_t> columns;
    for (const std::string& heading : fields(line)) {
        const std::size_t index = columns.size();
        columns.emplace(heading, index);
    }
    const auto connection = columns.find("connection");
    std::vector<MessageRecord> messages;
    while (std::getline(file, line)) {
        const auto values = fields(line);
        try {
            messages.push_back({std::stoull(values.at(columns.at("bytes"))),
                                std::stoll(values.at(columns.at("monotonic_ns"))),
                                std::stoull(values.at(columns.at("fnv1a64")), nullptr, 16),
                                connection == columns.end() ? 0U
                                                            : static_cast<std::uint32_t>(std::stoul(
                                                                  values.at(connection->second)))});
        } catch (const std::logic_error&) {
            throw std::runtime_error(path + " is not a record of messages");
        }
    }
    return messages;
}
