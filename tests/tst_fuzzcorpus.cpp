// Replays the receive fuzzer's seeds and every input it ever failed on through the same
// driver and oracle, so that each build checks them without clang or libFuzzer.
#include "receivedriver.h"
#include "virtualclock.h"

#include <QDir>
#include <QFile>
#include <QPluginLoader>
#include <QtTest>

class tst_FuzzCorpus : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void replay_data();
    void replay();

private:
    QPluginLoader mPlugin{QStringLiteral(QVX_PLUGIN_PATH)};
};

namespace {
// The plugin logs every byte it reads; the replay checks behaviour, not that text.
void dropMessages(QtMsgType, const QMessageLogContext &, const QString &) {}
} // namespace

void tst_FuzzCorpus::initTestCase()
{
    qputenv("CANSERVICE_SERIAL_PORT", "/nonexistent/qvx-test-port");
    qInstallMessageHandler(dropMessages);
    QVERIFY2(mPlugin.load(), qPrintable(mPlugin.errorString()));
}

void tst_FuzzCorpus::replay_data()
{
    QTest::addColumn<QString>("path");
    int rows = 0;
    for (const char *folder : {"corpus", "regressions"}) {
        const QDir dir(QStringLiteral(QVX_SOURCE_DIR "/fuzz/") + QLatin1String(folder));
        for (const QFileInfo &file : dir.entryInfoList(QDir::Files, QDir::Name)) {
            QTest::newRow(qPrintable(QLatin1String(folder) + '/' + file.fileName()))
                << file.filePath();
            ++rows;
        }
    }
    QVERIFY2(rows > 0, "no seeds under fuzz/corpus");
}

void tst_FuzzCorpus::replay()
{
    QFETCH(QString, path);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QStringList problems = fuzzdriver::run(mPlugin, file.readAll());
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join(QLatin1Char('\n'))));
}

int main(int argc, char **argv)
{
    // The seeds let time pass: the service's timers must run on the driver's clock.
    QCoreApplication::setEventDispatcher(new qvxtest::VirtualClock);
    QCoreApplication app(argc, argv);
    tst_FuzzCorpus test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}
#include "tst_fuzzcorpus.moc"
