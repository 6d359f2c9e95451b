#pragma once

#include "Platform/AppCommand.h"
#include "Platform/Desktop/ApplicationInterface.h"

#include <QDBusConnection>

#include <string>
#include <vector>

namespace tandrel {

/// Lets the program run once per session: whoever owns its name on the session bus runs, and
/// further starts hand their commands over. Needs no application object, so that a start that hands
/// over touches neither display nor theme. Main thread.
class SingleInstance {
public:
    static constexpr const char* busName = "com.quorvane.Tandrel";
    static constexpr const char* objectPath = "/com/quorvane/Tandrel";

    enum class Outcome {
        /// This process is the one that runs; it gets the commands of later starts.
        first,
        /// Another process runs, and took the commands.
        handedOver,
        /// No process runs; none of the commands means anything to a new one.
        nothingRuns,
        /// There is no session bus.
        noBus,
        /// The running process, or the bus, did not answer in time.
        unanswered,
    };

    /// What a start is for.
    struct Request {
        std::vector<AppCommand> commands;
        /// No process is to be started for them.
        bool concernsRunningOnly = false;
        /// Nobody is waiting to see the program: without commands the running process is told
        /// nothing.
        bool isInBackground = false;
        /// The permission to take the focus that this start was given.
        std::string activationToken;
    };

    SingleInstance();
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;
    ~SingleInstance();

    /// Becomes the running process, or hands the request over to it; called once. Each answer is
    /// waited for at most 2 s; connecting to the bus waits as long as the bus makes it.
    [[nodiscard]] Outcome claim(const Request& request);

    /// What the commands of later starts are given to. Those that came meanwhile follow at once
    /// when the event loop runs.
    void setHandler(ApplicationInterface::Handler handler);

    /// The connection to the session bus, for others that need one too; not connected when there is
    /// none.
    [[nodiscard]] const QDBusConnection& bus() const { return bus_; }

private:
    enum class Delivery { done, nobody, unanswered };

    [[nodiscard]] Outcome takeName(const Request& request);
    [[nodiscard]] Delivery handOver(const Request& request);
    [[nodiscard]] Delivery deliver(const QString& method, const QVariantList& arguments);

    QDBusConnection bus_;
    ApplicationInterface interface_;
};

} // namespace tandrel
