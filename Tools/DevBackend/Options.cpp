#include "DevBackend/Options.h"

#include <QCommandLineParser>
#include <QDir>

namespace devbackend {

namespace {

constexpr int usageError = 2;

OptionsOrExit leave(int code, const QString& text) {
    return {.options = {}, .exitCode = code, .text = text};
}

OptionsOrExit wrong(const QString& text) {
    return leave(usageError, text + QStringLiteral("\nTry --help.\n"));
}

/// `endpoint:key=value,…`; an empty text when it could be set.
QString setFault(FaultBoard& faults, const QString& description) {
    const QString name = description.section(QLatin1Char(':'), 0, 0);
    const std::optional<Endpoint> endpoint = endpointNamed(name);
    if (!endpoint) {
        return QStringLiteral("No endpoint is called %1.").arg(name);
    }
    const FaultOrError read =
        faultFromJson(*endpoint, faultJsonFromText(description.section(QLatin1Char(':'), 1)));
    if (!read.fault) {
        return QStringLiteral("Fault for %1: %2.").arg(name, read.error);
    }
    faults.set(*endpoint, *read.fault);
    return {};
}

/// An empty text when all could be added.
QString addAccounts(AccountStore& accounts, const QStringList& descriptions,
                    const QStringList& files) {
    for (const QString& description : descriptions) {
        if (!accounts.add(description)) {
            return QStringLiteral("An account is given as EMAIL:PASSWORD[:NAME], each once.");
        }
    }
    for (const QString& file : files) {
        if (!accounts.addFromFile(file)) {
            return QStringLiteral("No usable accounts in %1.").arg(file);
        }
    }
    if (accounts.accounts().empty()) {
        accounts.add(QStringLiteral("demo@quorvane.example:tandrel-demo:Demo Person"));
    }
    return {};
}

} // namespace

OptionsOrExit readOptions(const QStringList& arguments) {
    const QCommandLineOption help(QStringLiteral("help"), QStringLiteral("Print this text."));
    const QCommandLineOption port(
        QStringLiteral("port"),
        QStringLiteral("Port on 127.0.0.1; 0 takes a free one. Default: 8787."),
        QStringLiteral("PORT"), QStringLiteral("8787"));
    const QCommandLineOption account(
        QStringLiteral("account"),
        QStringLiteral("Someone who may sign in; may be given again. Without any, "
                       "demo@quorvane.example with the password tandrel-demo may."),
        QStringLiteral("EMAIL:PASSWORD[:NAME]"));
    const QCommandLineOption accountsFile(QStringLiteral("accounts"),
                                          QStringLiteral("The same from a file, one in a line."),
                                          QStringLiteral("FILE"));
    const QCommandLineOption output(
        QStringLiteral("output"),
        QStringLiteral("Folder for recordings. Default: the current one."), QStringLiteral("DIR"),
        QStringLiteral("."));
    const QCommandLineOption fault(
        QStringLiteral("fault"),
        QStringLiteral("Misbehave from the start, as in login:status=503,times=2 or "
                       "stream:then=close,code=4003,after_messages=100; may be given again."),
        QStringLiteral("ENDPOINT:KEY=VALUE,…"));
    const QCommandLineOption quiet(QStringLiteral("quiet"),
                                   QStringLiteral("Print the address only, no events."));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("A small backend on this machine, for development and tests."));
    parser.addOptions({help, port, account, accountsFile, output, fault, quiet});
    if (!parser.parse(arguments)) {
        return wrong(parser.errorText());
    }
    if (parser.isSet(help)) {
        return leave(0, parser.helpText());
    }
    if (!parser.positionalArguments().isEmpty()) {
        return wrong(QStringLiteral("Unexpected: ") + parser.positionalArguments().constFirst());
    }

    OptionsOrExit result;
    Options& options = result.options;
    bool isPort = false;
    options.port = parser.value(port).toUShort(&isPort);
    if (!isPort) {
        return wrong(QStringLiteral("The port is a number from 0 to 65535."));
    }
    options.isQuiet = parser.isSet(quiet);
    options.output = QDir(parser.value(output)).absolutePath().toStdString();
    if (!QDir().mkpath(parser.value(output))) {
        return wrong(QStringLiteral("Cannot make the folder ") + parser.value(output));
    }
    const QString problem =
        addAccounts(options.accounts, parser.values(account), parser.values(accountsFile));
    if (!problem.isEmpty()) {
        return wrong(problem);
    }
    for (const QString& description : parser.values(fault)) {
        const QString faultProblem = setFault(options.faults, description);
        if (!faultProblem.isEmpty()) {
            return wrong(faultProblem);
        }
    }
    return result;
}

} // namespace devbackend
