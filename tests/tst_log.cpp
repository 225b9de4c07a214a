// The one diagnostic line format, as a host's message handler receives it.
#include "testsupport.h"

#include "debugtools.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

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
    void criticalWithoutMessage();
    void valuesInQtsDefaultForm();
    void disabledDebugStillLeavesCriticalLines();
    void driverPosition();
    void monotonicClock();
};

void tst_Log::lineFormat_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("pattern");
    QTest::newRow("debug")
        << "start"
        << R"(^\[DBG\] (\d+) virtual void canservice::SimpleService::start\(\) (\d+) -- Start Quorvex_LSN305$)";
    QTest::newRow("critical")
        << "bad frame"
        << R"(^\[ERR\] (\d+) void canservice::SimpleService::onDataReady\(QByteArray\) (\d+) -- checksum err!$)";
}

void tst_Log::lineFormat()
{
    QFETCH(QString, action);
    QFETCH(QString, pattern);
    ServiceHarness h;
    if (action == "start")
        h.service->start();
    else
        h.feedHex("5aa5022a05ff30");
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
    QCOMPARE(line->type, action == "start" ? QtDebugMsg : QtCriticalMsg);
}

void tst_Log::criticalWithoutMessage()
{
    ServiceHarness h;
    h.feedFrame(0x31, QByteArray(11, 0)); // a climate frame one byte short
    const QRegularExpression re(
        R"(^\[ERR\] \d+ void canservice::SimpleService::doClimate\(int, QByteArray&\) \d+ --$)");
    bool found = false;
    for (const Seen &s : seen)
        found = found || re.match(s.message).hasMatch();
    QVERIFY(found);
}

void tst_Log::valuesInQtsDefaultForm()
{
    canservice::ConfigManager::instance()->setPluginFullPath("/opt/plugins/libqvx_LSN305.so.1");
    CanBusManager::instance()->setQvxCarModelIndex(0x123);
    ServiceHarness h;
    h.service->start();
    h.feedHex("5aa501");
    QVERIFY(find(R"(-- curr canbus --  "/opt/plugins/libqvx_LSN305.so.1")"));
    QVERIFY(find(R"(-- "5aa501")")); // the chunk, QByteArray::toHex in quotes
    QVERIFY(find(" -- 291 35"));     // the model index and its low byte, as numbers
    QCOMPARE(seen.last().message.section(" -- ", 1), QStringLiteral("2")); // state per byte
    canservice::ConfigManager::instance()->setPluginFullPath(QString());
    CanBusManager::instance()->setQvxCarModelIndex(0);
}

void tst_Log::disabledDebugStillLeavesCriticalLines()
{
    QLoggingCategory::setFilterRules("default.debug=false");
    ServiceHarness h;
    h.feedHex("5aa5022a05ff30");
    QLoggingCategory::setFilterRules(QString());
    QCOMPARE(seen.size(), 2); // the port's own warning and the checksum error
    QVERIFY(find("checksum err!"));
    QCOMPARE(h.written(), QList<QByteArray>{QByteArray::fromHex("5aa501fe2a28")});
}

void tst_Log::driverPosition()
{
    QTemporaryDir root;
    qputenv("CANSERVICE_NVM_ROOT", root.path().toUtf8());
    mem::SettingsUtil *settings = mem::SettingsUtil::instance();
    QCOMPARE(settings->getDriverPosition(), true); // no file: the flag passed through
    QCOMPARE(settings->getDriverPosition(false), false);
    QDir().mkpath(root.path() + "/media/flash/nvm/factory");
    QFile file(root.path() + "/media/flash/nvm/factory/settings.ini");
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("[General]\nDriverPosition=false\n");
    file.close();
    QCOMPARE(settings->getDriverPosition(), false);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("[General]\nDriverPosition=true\n");
    file.close();
    QCOMPARE(settings->getDriverPosition(false), true); // read afresh at every call
    qunsetenv("CANSERVICE_NVM_ROOT");
}

void tst_Log::monotonicClock()
{
    const int32_t a = util::monotonicMs();
    QTest::qWait(20);
    const int32_t b = util::monotonicMs();
    QVERIFY(int32_t(uint32_t(b) - uint32_t(a)) >= 15);
}

QTEST_GUILESS_MAIN(tst_Log)
#include "tst_log.moc"
