// The one diagnostic line format, as a host's message handler receives it.
#include "drive.h"

#include "debugtools.h"

#include <QFileInfo>
#include <QLibrary>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <dlfcn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

// Stands in for the C library's, so that a test can make it fail.
static bool sFailBacktraceSymbols = false;
extern "C" char **backtrace_symbols(void *const *frames, int count)
{
    if (sFailBacktraceSymbols) {
        errno = ENOMEM;
        return nullptr;
    }
    using Real = char **(*)(void *const *, int);
    static const Real real = Real(dlsym(RTLD_NEXT, "backtrace_symbols"));
    return real(frames, count);
}

// The child ends through the trace's own exit(): the leak checker must judge the parent only.
static bool sInTraceChild = false;
extern "C" int __lsan_is_turned_off()
{
    return sInTraceChild;
}

namespace {

// Runs printTrace in a child and returns its exit status and standard output.
QPair<int, QByteArray> traceInChild(bool failSymbols)
{
    int out[2];
    if (pipe(out) != 0)
        return {-1, {}};
    const pid_t pid = fork();
    if (pid == 0) {
        sInTraceChild = true;
        dup2(out[1], STDOUT_FILENO);
        dup2(out[1], STDERR_FILENO);
        setvbuf(stdout, nullptr, _IONBF, 0); // the order of the calls, not of the buffers
        sFailBacktraceSymbols = failSymbols;
        util::printTrace();
        fflush(stdout);
        _exit(0);
    }
    close(out[1]);
    QByteArray text;
    char buffer[4096];
    for (ssize_t n; (n = read(out[0], buffer, sizeof buffer)) > 0;)
        text.append(buffer, int(n));
    close(out[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text};
}

struct Seen
{
    QtMsgType type;
    QString message;
    QString file;
    QString function;
    int line;
    QString category;
};
QList<Seen> seen;

void handler(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    seen.append({type, message, QString::fromUtf8(context.file),
                 QString::fromUtf8(context.function), context.line,
                 QString::fromUtf8(context.category)});
}

const Seen *find(const QString &needle)
{
    for (const Seen &s : seen) {
        if (s.message.contains(needle))
            return &s;
    }
    return nullptr;
}

} // namespace

class tst_Log : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        seen.clear();
        qInstallMessageHandler(handler);
    }
    void cleanup() { qInstallMessageHandler(nullptr); }
    void lineFormat_data();
    void lineFormat();
    void valuesInQtsDefaultForm();
    void disabledDebugStillLeavesCriticalLines();
    void traceHeaderFirst_data();
    void traceHeaderFirst();
};

void tst_Log::lineFormat_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QString>("pattern");
    QTest::newRow("debug")
        << "start"
        << R"(^\[DBG\] (\d+) virtual void canservice::SimpleService::start\(\) (\d+) -- Start Quorvex_LSN305$)";
    QTest::newRow("critical")
        << "raw 5aa5022a05ff30"
        << R"(^\[ERR\] (\d+) void canservice::SimpleService::onDataReady\(QByteArray\) (\d+) -- checksum err!$)";
    QTest::newRow("critical without a message")
        << "31 0000000000000000000000"
        << R"(^\[ERR\] (\d+) void canservice::SimpleService::doClimate\(int, QByteArray&\) (\d+) --$)";
}

void tst_Log::lineFormat()
{
    QFETCH(QString, script);
    QFETCH(QString, pattern);
    qvxtest::Drive h(false);
    h.run(script);
    const QRegularExpression re(pattern);
    const Seen *line = nullptr;
    QRegularExpressionMatch match;
    for (const Seen &s : seen) {
        match = re.match(s.message);
        if (match.hasMatch()) {
            line = &s;
            break;
        }
    }
    QVERIFY2(line, qPrintable(pattern));
    QCOMPARE(match.captured(1).toLong(), long(syscall(SYS_gettid)));
    QCOMPARE(match.captured(2).toInt(), line->line);
    QCOMPARE(line->file, QStringLiteral("simpleservice.cpp"));
    QVERIFY(line->function.contains("SimpleService::"));
    QCOMPARE(line->category, QStringLiteral("default"));
    QCOMPARE(line->type, pattern.startsWith("^\\[DBG") ? QtDebugMsg : QtCriticalMsg);
}

void tst_Log::valuesInQtsDefaultForm()
{
    // Any host that loads the plugin gets its path in the line, as on a head unit.
    QLibrary plugin(QStringLiteral(QVX_PLUGIN_PATH));
    QVERIFY2(plugin.load(), qPrintable(plugin.errorString()));
    const QString path = QFileInfo(QStringLiteral(QVX_PLUGIN_PATH)).absoluteFilePath();
    qvxtest::Drive h(false);
    CanBusManager::instance()->setQvxCarModelIndex(0x123);
    h.service->start();
    h.feed(QByteArray::fromHex("5aa501"));
    QVERIFY(find(QStringLiteral("-- curr canbus --  \"%1\"").arg(path)));
    QVERIFY(find(R"(-- "5aa501")")); // the chunk, QByteArray::toHex in quotes
    QVERIFY(find(" -- 291 35"));     // the model index and its low byte, as numbers
    QCOMPARE(seen.last().message.section(" -- ", 1), QStringLiteral("2")); // state per byte
    CanBusManager::instance()->setQvxCarModelIndex(0);
}

void tst_Log::disabledDebugStillLeavesCriticalLines()
{
    QLoggingCategory::setFilterRules("default.debug=false");
    qvxtest::Drive h(false);
    h.feed(QByteArray::fromHex("5aa5022a05ff30"));
    QLoggingCategory::setFilterRules(QString());
    QCOMPARE(seen.size(), 2); // the port's own warning and the checksum error
    QVERIFY(find("checksum err!"));
    QCOMPARE(h.answers, QStringList{"nak:2a"});
}

void tst_Log::traceHeaderFirst_data()
{
    QTest::addColumn<bool>("failSymbols");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("last");
    QTest::newRow("symbols") << false << 0 << QByteArray(" ********* print_trace end *********");
    QTest::newRow("no symbols") << true << 1
                                << QByteArray("backtrace_symbols: Cannot allocate memory");
}

void tst_Log::traceHeaderFirst()
{
    QFETCH(bool, failSymbols);
    QFETCH(int, status);
    QFETCH(QByteArray, last);
    const auto [exitStatus, text] = traceInChild(failSymbols);
    QCOMPARE(exitStatus, status);
    QList<QByteArray> lines = text.split('\n');
    lines.removeAll(QByteArray());
    QCOMPARE(lines.first(), QByteArray(" ********* print_trace *********"));
    QCOMPARE(lines.last(), last);
}

QVX_VIRTUAL_TIME_MAIN(tst_Log)
#include "tst_log.moc"
