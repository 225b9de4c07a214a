// The one diagnostic line format, as a host's message handler receives it.
#include "drive.h"

#include "debugtools.h"

#include <QFileInfo>
#include <QLibrary>
#include <QRegularExpression>
#include <sys/syscall.h>
#include <unistd.h>

class tst_Log : public QObject
{
    Q_OBJECT
private slots:
    void lineFormat_data();
    void lineFormat();
    void valuesInQtsDefaultForm();
    void traceBetweenHeaderAndFooter();
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
    qvxtest::Messages log;
    qvxtest::Drive h(false);
    h.run(script);
    const QRegularExpression re(pattern);
    const int at = log.lines.indexOf(re);
    QVERIFY2(at >= 0, qPrintable(log.lines.join('\n')));
    const QRegularExpressionMatch match = re.match(log.lines[at]);
    const qvxtest::Messages::Context &line = log.contexts[at];
    QCOMPARE(match.captured(1).toLong(), long(syscall(SYS_gettid)));
    QCOMPARE(match.captured(2).toInt(), line.line);
    QCOMPARE(line.file, QStringLiteral("simpleservice.cpp"));
    QVERIFY(line.function.contains("SimpleService::"));
    QCOMPARE(line.category, QStringLiteral("default"));
    QCOMPARE(line.type, pattern.startsWith("^\\[DBG") ? QtDebugMsg : QtCriticalMsg);
}

void tst_Log::valuesInQtsDefaultForm()
{
    // Any host that loads the plugin gets its path in the line, as on a head unit.
    QLibrary plugin(QStringLiteral(QVX_PLUGIN_PATH));
    QVERIFY2(plugin.load(), qPrintable(plugin.errorString()));
    const QString path = QFileInfo(QStringLiteral(QVX_PLUGIN_PATH)).absoluteFilePath();
    qvxtest::Messages log;
    qvxtest::Drive h(false);
    CanBusManager::instance()->setQvxCarModelIndex(0x123);
    h.service->start();
    h.feed(QByteArray::fromHex("5aa501"));
    const auto said = [&log](const QString &text) { return !log.lines.filter(text).isEmpty(); };
    QVERIFY(said(QStringLiteral("-- curr canbus --  \"%1\"").arg(path)));
    QVERIFY(said(R"(-- "5aa501")")); // the chunk, QByteArray::toHex in quotes
    QVERIFY(said(" -- 291 35"));     // the model index and its low byte, as numbers
    QCOMPARE(log.lines.last().section(" -- ", 1), QStringLiteral("2")); // state per byte
    CanBusManager::instance()->setQvxCarModelIndex(0);
}

void tst_Log::traceBetweenHeaderAndFooter()
{
    const QByteArray text = qvxtest::standardOutput(util::printTrace);
    QList<QByteArray> lines = text.split('\n');
    lines.removeAll(QByteArray());
    QVERIFY2(lines.size() > 2, text.constData());
    QCOMPARE(lines.first(), QByteArray(" ********* print_trace *********"));
    QCOMPARE(lines.last(), QByteArray(" ********* print_trace end *********"));
}

QVX_VIRTUAL_TIME_MAIN(tst_Log)
#include "tst_log.moc"
