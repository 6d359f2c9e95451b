#include "Support/Qt/ExpectedWarnings.h"

#include <QString>
#include <QtGlobal>

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace tandrel::test {

namespace {

std::mutex mutex;
std::vector<std::string> expected;

void handleMessage(QtMsgType type, const QMessageLogContext& /*context*/, const QString& message) {
    const std::string text = message.toStdString();
    if (type == QtWarningMsg || type == QtCriticalMsg || type == QtFatalMsg) {
        const std::lock_guard lock(mutex);
        const bool isExpected =
            std::any_of(expected.begin(), expected.end(), [&text](const std::string& part) {
                return text.find(part) != std::string::npos;
            });
        if (!isExpected) {
            ADD_FAILURE() << "unexpected warning: " << text;
        }
    }
    std::fprintf(stderr, "%s\n", text.c_str());
}

} // namespace

void failOnUnexpectedWarnings() {
    qInstallMessageHandler(handleMessage);
}

ExpectedWarning::ExpectedWarning(std::string part)
    : part_(std::move(part)) {
    const std::lock_guard lock(mutex);
    expected.push_back(part_);
}

ExpectedWarning::~ExpectedWarning() {
    const std::lock_guard lock(mutex);
    const auto found = std::find(expected.begin(), expected.end(), part_);
    if (found != expected.end()) {
        expected.erase(found);
    }
}

} // namespace tandrel::test
