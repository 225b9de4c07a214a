// The one diagnostic line format, as a host's message handler receives it.
#include "drive.h"

#include "debugtools.h"

#include <QFileInfo>
#include <QLibrary>
#include <QRegularExpression>
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
