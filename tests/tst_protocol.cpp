// The protocol module and the link: checksum, every frame the link sends byte for byte, and
// the reader that the tools use to know what the head unit made of a stream.
#include "drive.h"

#include "reader.h"

using protocol::build;
using protocol::Reader;

class tst_Protocol : public QObject
{
    Q_OBJECT
private slots:
    void build_data();
    void build();
    void fieldReads();
    void drive_data();
    QVX_DRIVE_ROWS
    void reader_data();
    void reader();
    void readerParseOut();
};

void tst_Protocol::build_data()
{
    QTest::addColumn<int>("cmd");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("ack 0x00") << 0xFF << QByteArray(1, 0) << QByteArray::fromHex("5aa501ff00ff");
    QTest::newRow("nak 0x2a") << 0xFE << QByteArray(1, 0x2A) << QByteArray::fromHex("5aa501fe2a28");
    QTest::newRow("no data") << 0x55 << QByteArray() << QByteArray::fromHex("5aa5005554");
    QTest::newRow("checksum wraps")
        << 0x80 << QByteArray::fromHex("7f00") << QByteArray::fromHex("5aa502807f0000");
    QTest::newRow("255 bytes of 0xff")
        << 0xFF << QByteArray(255, char(0xFF))
        << QByteArray::fromHex("5aa5ffff") + QByteArray(255, char(0xFF)) + char(0xFE);
}

void tst_Protocol::build()
{
    QFETCH(int, cmd);
    QFETCH(QByteArray, data);
    QFETCH(QByteArray, expected);
    QCOMPARE(protocol::build(quint8(cmd), data).toHex(), expected.toHex());
    QByteArray body = expected.mid(2, expected.size() - 3);
    QCOMPARE(canservice::SimpleService().getCheckSum(body), int(quint8(expected.back())));
}

void tst_Protocol::fieldReads()
{
    const QByteArray data = QByteArray::fromHex("ff80017fff");
    QCOMPARE(int(protocol::u8(data, 0)), 0xFF);
    QCOMPARE(int(protocol::u8(data, 5)) + int(protocol::u8(data, -1)), 0); // outside the array
    QCOMPARE(protocol::be16(data, 0), 0xFF80);
    QCOMPARE(protocol::be24(data, 1), 0x80017F);
    QVERIFY(protocol::notAvailable(data, 4, 1));
    QVERIFY(!protocol::notAvailable(data, 0, 2));
}

// The frames the service sends of its own accord, only the low bytes of the host's numbers.
void tst_Protocol::drive_data()
{
    QTest::addColumn<QString>("script");
    QTest::newRow("nothing on construction") << "sent=";
    QTest::newRow("start with model index 5") << "index 5; start; sent=5aa5022a05ff2f";
    QTest::newRow("start with model index 0x123") << "index 0x123; start; sent=5aa5022a23ff4d";
    QTest::newRow("request") << "request 0x31 0; sent=5aa502903100c2; returned=0";
    QTest::newRow("request, low bytes") << "request 0x1ff 0x234; sent=5aa50290ff34c4";
}

// Each chunk is "<ms> <hex>"; items are kind letters: F frame, B bad checksum, S skipped,
// P parse-out, each with the bytes it took.
void tst_Protocol::reader_data()
{
    QTest::addColumn<QStringList>("chunks");
    QTest::addColumn<QStringList>("items");
    QTest::newRow("one frame") << QStringList{"0 5aa5022a05ff2f"}
                               << QStringList{"F 5aa5022a05ff2f"};
    QTest::newRow("bad checksum") << QStringList{"0 5aa5022a05ff30"}
                                  << QStringList{"B 5aa5022a05ff30"};
    QTest::newRow("noise first") << QStringList{"0 00115aa50221150138"}
                                 << QStringList{"S 0011", "F 5aa50221150138"};
    QTest::newRow("bytes between the header bytes")
        << QStringList{"0 5a1122a5022a05ff2f"} << QStringList{"F 5a1122a5022a05ff2f"};
    QTest::newRow("trailing noise")
        << QStringList{"0 5aa501f05646a501"} << QStringList{"F 5aa501f05646", "S a501"};
    // A LEN 0 frame swallows what follows; only a chunk that finds it unfinished arms the
    // 500 ms timer, and its firing drops everything.
    QTest::newRow("LEN 0 swallows a later frame")
        << QStringList{"0 5aa5005554", "100 5aa50221150138", "600 5aa50221150138"}
        << QStringList{"P 5aa50055545aa50221150138", "F 5aa50221150138"};
    QTest::newRow("LEN 0 alone is never dropped")
        << QStringList{"0 5aa5005554", "10000 5aa50221150138"} << QStringList{};
    QTest::newRow("a frame completed in one chunk arms nothing")
        << QStringList{"0 5aa502211501385aa5", "400 0221150138", "600 5aa5"}
        << QStringList{"F 5aa50221150138", "F 5aa50221150138"};
    QTest::newRow("a bad checksum leaves the timer running")
        << QStringList{"0 5aa502", "100 211501395aa5", "600 0221150138"}
        << QStringList{"B 5aa50221150139", "P 5aa5", "S 0221150138"};
    // A frame split anywhere, the rest in time.
    const QString tyres =
        protocol::build(protocol::cmd::Tyres, QByteArray(protocol::len::Tyres, 0x11)).toHex();
    for (int cut = 2; cut < tyres.size(); cut += 2)
        QTest::addRow("tyres split after %d bytes", cut / 2)
            << QStringList{"0 " + tyres.left(cut), "499 " + tyres.mid(cut)}
            << QStringList{"F " + tyres};
}

void tst_Protocol::reader()
{
    QFETCH(QStringList, chunks);
    QFETCH(QStringList, items);
    Reader r;
    QStringList seen;
    QByteArray consumed;
    for (const QString &chunk : chunks) {
        const QStringList parts = chunk.split(' ');
        for (const Reader::Item &item :
             r.feed(QByteArray::fromHex(parts.at(1).toLatin1()), parts.at(0).toLongLong())) {
            seen << QStringLiteral("%1 %2").arg(QChar("FBSP"[item.kind]),
                                                QString::fromLatin1(item.bytes.toHex()));
        }
    }
    QCOMPARE(seen, items);
}

// The offsets say which written bytes a dropped frame held; poll() fires the timer alone.
void tst_Protocol::readerParseOut()
{
    Reader r;
    QCOMPARE(r.feed(QByteArray::fromHex("00"), 0).first().offset, qint64(0));
    r.feed(QByteArray::fromHex("5aa5005554"), 0);
    QVERIFY(r.swallowing());
    QCOMPARE(r.parseOutDue(), qint64(-1));
    r.feed(QByteArray::fromHex("aa"), 50);
    QCOMPARE(r.parseOutDue(), qint64(550));
    QVERIFY(r.poll(549).isEmpty());
    const QList<Reader::Item> dropped = r.poll(550);
    QCOMPARE(dropped.size(), 1);
    QCOMPARE(dropped.first().offset, qint64(1));
    QCOMPARE(dropped.first().bytes, QByteArray::fromHex("5aa5005554aa"));
    QCOMPARE(dropped.first().timeMs, qint64(550));
    QVERIFY(!r.inFrame());
}

QVX_VIRTUAL_TIME_MAIN(tst_Protocol)
#include "tst_protocol.moc"
