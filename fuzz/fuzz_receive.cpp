// libFuzzer entry: every input drives a fresh service, created through the plugin entry,
// with adapter bytes and host calls (see receivedriver.h), and any disagreement with the
// plain framing or any getter outside its documented range aborts like a crash would.
#include "receivedriver.h"
#include "virtualclock.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QPluginLoader>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace {

QPluginLoader *sPlugin = nullptr;

// The plugin logs every byte; that text is not what is being tested and costs speed.
void quiet(QtMsgType, const QMessageLogContext &, const QString &) {}

} // namespace

// Each input constructs the service, whose port takes the device's lock file first, and
// the lock file is synced to disk: milliseconds per input that tell nothing about the
// plugin. The fuzzer's lock files are thrown away anyway.
extern "C" int fdatasync(int)
{
    return 0;
}

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    // Construction opens the serial port: make sure it can never reach a real device.
    // A name of its own, so that parallel jobs never contend for one lock file.
    const QByteArray port = "/nonexistent/qvx-fuzz-" + QByteArray::number(getpid());
    setenv("CANSERVICE_SERIAL_PORT", port.constData(), 1);
    unsetenv("CANSERVICE_TRANSLATIONS");
    unsetenv("CANSERVICE_NVM_ROOT");
    if (!getenv("QVX_FUZZ_LOG")) {
        qInstallMessageHandler(quiet);
        // The per-chunk hex line goes to standard output; libFuzzer reports on stderr.
        const int null = open("/dev/null", O_WRONLY);
        if (null >= 0) {
            dup2(null, STDOUT_FILENO);
            close(null);
        }
    }
    // The service's timers run on a clock that moves only when an input says so.
    QCoreApplication::setEventDispatcher(new qvxtest::VirtualClock);
    static QCoreApplication app(*argc, *argv);
    sPlugin = new QPluginLoader(QStringLiteral(QVX_PLUGIN_PATH));
    if (!sPlugin->load()) {
        fprintf(stderr, "fuzz_receive: cannot load %s: %s\n", QVX_PLUGIN_PATH,
                qPrintable(sPlugin->errorString()));
        abort();
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray input = QByteArray::fromRawData(reinterpret_cast<const char *>(data),
                                                     int(qMin(size, size_t(1) << 20)));
    const QStringList problems = fuzzdriver::run(*sPlugin, input);
    if (!problems.isEmpty()) {
        fprintf(stderr, "==fuzz_receive== ORACLE FAILURE\n");
        for (const QString &p : problems)
            fprintf(stderr, "  %s\n", qPrintable(p));
        abort();
    }
    return 0;
}
