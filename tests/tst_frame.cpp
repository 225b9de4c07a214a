// Checksum and every frame the link itself sends, byte for byte.
#include "testsupport.h"

using canservice::frame::build;
using canservice::frame::checksum;

class tst_Frame : public QObject
{
    Q_OBJECT
private slots:
    void checksum_data();
    void checksum();
    void build_data();
    void build();
    void fieldReads();
    void controlFrames_data();
    void controlFrames();
    void toStringForms();
};

void tst_Frame::checksum_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<int>("expected");
    QTest::newRow("empty") << QByteArray() << 0xFF;
    QTest::newRow("ack for 0x11") << QByteArray::fromHex("01ff11") << 0x10;
    QTest::newRow("car select 5") << QByteArray::fromHex("022a05ff") << 0x2F;
    QTest::newRow("wraps") << QByteArray::fromHex("808001") << 0x00;
    QTest::newRow("all 0xff") << QByteArray(255, char(0xFF)) << ((255 * 255 - 1) & 0xFF);
}

void tst_Frame::checksum()
{
    QFETCH(QByteArray, body);
    QFETCH(int, expected);
    QCOMPARE(int(canservice::frame::checksum(body)), expected);
    ServiceHarness h;
    QCOMPARE(h.service->getCheckSum(body), expected);
}

void tst_Frame::build_data()
{
    QTest::addColumn<int>("cmd");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("ack 0x00") << 0xFF << QByteArray(1, 0) << QByteArray::fromHex("5aa501ff00ff");
    QTest::newRow("nak 0x00") << 0xFE << QByteArray(1, 0) << QByteArray::fromHex("5aa501fe00fe");
    QTest::newRow("ack 0x2a") << 0xFF << QByteArray(1, 0x2A) << QByteArray::fromHex("5aa501ff2a29");
    QTest::newRow("nak 0x2a") << 0xFE << QByteArray(1, 0x2A) << QByteArray::fromHex("5aa501fe2a28");
    QTest::newRow("no data") << 0x55 << QByteArray() << QByteArray::fromHex("5aa5005554");
}

void tst_Frame::build()
{
    QFETCH(int, cmd);
    QFETCH(QByteArray, data);
    QFETCH(QByteArray, expected);
    QCOMPARE(canservice::frame::build(quint8(cmd), data).toHex(), expected.toHex());
}

void tst_Frame::fieldReads()
{
    const QByteArray data = QByteArray::fromHex("ff80017fff");
    QCOMPARE(int(canservice::frame::u8(data, 0)), 0xFF);
    QCOMPARE(int(canservice::frame::u8(data, 5)), 0); // outside the array
    QCOMPARE(int(canservice::frame::u8(data, -1)), 0);
    QCOMPARE(canservice::frame::be16(data, 0), 0xFF80);
    QCOMPARE(canservice::frame::be24(data, 1), 0x80017F);
    QVERIFY(canservice::frame::notAvailable(data, 4, 1));
    QVERIFY(!canservice::frame::notAvailable(data, 0, 2));
}

void tst_Frame::controlFrames_data()
{
    QTest::addColumn<QString>("call");
    QTest::addColumn<int>("a");
    QTest::addColumn<int>("b");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("start, index 5") << "start" << 5 << 0 << QByteArray::fromHex("5aa5022a05ff2f");
    QTest::newRow("start, index 0x105 sends the low byte")
        << "start" << 0x105 << 0 << QByteArray::fromHex("5aa5022a05ff2f");
    QTest::newRow("start, index 0x123")
        << "start" << 0x123 << 0 << QByteArray::fromHex("5aa5022a23ff4d");
    QTest::newRow("request 0x31 0x00")
        << "request" << 0x31 << 0x00 << QByteArray::fromHex("5aa502903100c2");
    QTest::newRow("request low bytes")
        << "request" << 0x1FF << 0x234 << QByteArray::fromHex("5aa50290ff34c4");
    QTest::newRow("sendStart") << "sendStart" << 0 << 0 << QByteArray::fromHex("5aa5036005051a86");
}

void tst_Frame::controlFrames()
{
    QFETCH(QString, call);
    QFETCH(int, a);
    QFETCH(int, b);
    QFETCH(QByteArray, expected);

    ServiceHarness h;
    QVERIFY(h.writes.isEmpty()); // construction sends nothing
    if (call == "start") {
        CanBusManager::instance()->setQvxCarModelIndex(a);
        h.service->start();
    } else if (call == "request") {
        QCOMPARE(h.service->request(a, b), 0);
    } else {
        h.service->sendStart();
    }
    QCOMPARE(h.writes.size(), 1);
    QCOMPARE(h.writes[0].bytes.toHex(), expected.toHex());
    QCOMPARE(h.writes[0].flag, true);
}

void tst_Frame::toStringForms()
{
    ServiceHarness h;
    QByteArray bytes = QByteArray::fromHex("00ff");
    QCOMPARE(h.service->toString(bytes), QStringLiteral("00 ff "));
    bytes = QByteArray::fromHex("5aa5");
    QCOMPARE(h.service->toString(bytes), QStringLiteral("5a a5 "));
    bytes.clear();
    QCOMPARE(h.service->toString(bytes), QString());
    QCOMPARE(h.service->toString((unsigned char)0xAB), QStringLiteral("ab"));
    QCOMPARE(h.service->toString((unsigned char)0x0A), QStringLiteral("0a"));
}

QTEST_GUILESS_MAIN(tst_Frame)
#include "tst_frame.moc"
