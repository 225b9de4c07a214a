// Audio-source status frames as the adapter receives them.
#include "testsupport.h"

class tst_SourceStatus : public QObject
{
    Q_OBJECT
private slots:
    void examples_data();
    void examples();
    void sources_data();
    void sources();
    void logLines();
};

void tst_SourceStatus::examples_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("info");
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("frame");
    const char *spaces = "202020202020202020202020";
    QTest::newRow("type 1") << "" << QStringList{"ignored"} << 1
                            << QByteArray::fromHex(QByteArray("5aa50e910d01") + spaces + "2c");
    QTest::newRow("FM1 87.50") << "FM1" << QStringList{"87.50"} << 0
                               << QByteArray::fromHex("5aa50e91010138372e35302020202020202082");
    // Type 4 is one of the sources the adapter gets code 0 for.
    QTest::newRow("type 4, no info")
        << "" << QStringList() << 4
        << QByteArray::fromHex(QByteArray("5aa50e910001") + spaces + "1f");
}

void tst_SourceStatus::examples()
{
    QFETCH(QString, name);
    QFETCH(QStringList, info);
    QFETCH(int, type);
    QFETCH(QByteArray, frame);

    ServiceHarness h;
    h.service->onRadioSourceInformation(name, info, type);
    QCOMPARE(h.writes.size(), 1);
    QCOMPARE(h.writes[0].bytes.toHex(), frame.toHex());
    QCOMPARE(h.writes[0].flag, true);
}

void tst_SourceStatus::sources_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("info");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("code"); // -1: nothing written
    QTest::addColumn<QByteArray>("text");
    const QStringList abc{"ABC", "second"};
    const QByteArray abcText = "ABC         ";
    const QByteArray blank(12, ' ');
    QTest::newRow("AM1") << "AM1" << abc << 0 << 4 << abcText;
    QTest::newRow("AM2") << "AM2" << abc << 0 << 5 << abcText;
    QTest::newRow("FM2") << "FM2" << abc << 0 << 2 << abcText;
    QTest::newRow("FM3") << "FM3" << abc << 0 << 3 << abcText;
    QTest::newRow("fm1 lower case") << "fm1" << abc << 0 << 0 << abcText;
    QTest::newRow("FM1 and more") << "FM1 " << abc << 0 << 0 << abcText;
    QTest::newRow("band name ignored") << "AM1" << abc << 5 << 12 << abcText;
    QTest::newRow("2") << "" << abc << 2 << 13 << blank;
    QTest::newRow("3") << "" << abc << 3 << 13 << blank;
    QTest::newRow("6") << "" << abc << 6 << 0 << abcText;
    QTest::newRow("9") << "" << abc << 9 << 0 << abcText;
    QTest::newRow("10") << "" << abc << 10 << 10 << blank;
    QTest::newRow("11") << "" << abc << 11 << -1 << abcText;
    QTest::newRow("-1") << "FM1" << abc << -1 << -1 << abcText;
    QTest::newRow("15 characters cut")
        << "" << QStringList{"ABCDEFGHIJKLMNO"} << 4 << 0 << QByteArray("ABCDEFGHIJKL");
    QTest::newRow("exactly 12") << "" << QStringList{"123456789012"} << 7 << 0
                                << QByteArray("123456789012");
    QTest::newRow("Latin-1, one byte each")
        << "" << QStringList{QString::fromUtf8("Café€")} << 8 << 0 << QByteArray("Caf\xe9?       ");
}

void tst_SourceStatus::sources()
{
    QFETCH(QString, name);
    QFETCH(QStringList, info);
    QFETCH(int, type);
    QFETCH(int, code);
    QFETCH(QByteArray, text);

    ServiceHarness h;
    h.service->onRadioSourceInformation(name, info, type);
    if (code < 0) {
        QVERIFY(h.writes.isEmpty());
        return;
    }
    QCOMPARE(h.writes.size(), 1);
    const QByteArray frame = h.writes[0].bytes;
    QCOMPARE(frame.size(), 19);
    QCOMPARE(frame.left(6).toHex(),
             QByteArray("5aa50e91") + QByteArray(1, char(code)).toHex() + "01");
    QCOMPARE(frame.mid(6, 12), text);
    QCOMPARE(int(protocol::u8(frame, 18)),
             int(protocol::checksum(frame.mid(2, 16))));
    QCOMPARE(h.writes[0].flag, true);
}

// A frame that is not sent is still built and logged.
void tst_SourceStatus::logLines()
{
    const char *spaces = "202020202020202020202020";
    ServiceHarness h;
    LogCapture log;
    h.service->onRadioSourceInformation("FM1", {"87.50", "x"}, 11);
    const QByteArray frame =
        protocol::build(0x91, QByteArray::fromHex("0001") + "87.50       ");
    QCOMPARE(log.messages(), (QStringList{"ttttttttttttttt \"FM1\" (\"87.50\", \"x\") 11",
                                          "src type--> 11", "\"87.50\"", "eeeeee 5 \"38372e3530\"",
                                          "false 19 \"" + frame.toHex() + "\""}));
    QVERIFY(h.writes.isEmpty());

    log.clear();
    h.service->onRadioSourceInformation("", {"87.50"}, 10);
    QCOMPARE(log.messages().mid(1, 2),
             (QStringList{"src type--> 10", "true 19 \"5aa50e910a01" + QString(spaces) + "29\""}));
}

QTEST_GUILESS_MAIN(tst_SourceStatus)
#include "tst_sourcestatus.moc"
