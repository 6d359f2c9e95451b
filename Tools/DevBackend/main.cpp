#include "DevBackend/Backend.h"
#include "DevBackend/Options.h"
#include "DevBackend/StopSignals.h"

#include <QCoreApplication>

#include <cstdio>

using namespace devbackend;

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const OptionsOrExit read = readOptions(QCoreApplication::arguments());
    if (read.exitCode) {
        std::fputs(qPrintable(read.text), *read.exitCode == 0 ? stdout : stderr);
        return *read.exitCode;
    }

    Backend backend(read.options);
    if (!backend.listen(read.options.port)) {
        std::fprintf(stderr, "Port %u on 127.0.0.1 is taken.\n", unsigned{read.options.port});
        return 1;
    }
    const StopSignals signals;
    QObject::connect(&signals, &StopSignals::received, &application, [&backend] {
        backend.shutDown();
        QCoreApplication::quit();
    });
    std::printf("listening on http://127.0.0.1:%u\n", unsigned{backend.port()});
    std::fflush(stdout);
    return QCoreApplication::exec();
}
