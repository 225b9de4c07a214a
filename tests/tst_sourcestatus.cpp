// The source status the host reports, as the frame written to the adapter.
#include "drive.h"

static void rows()
{
    QTest::newRow("FM1 87.50, byte for byte")
        << "source 0 FM1 87.50; sent=5aa50e91010138372e35302020202020202082";
    QTest::newRow("type 1: no text")
        << "source 1 \"\" ignored; sent=5aa50e910d012020202020202020202020202c";
    const struct
    {
        const char *call;
        int code; // -1: nothing written
        QByteArray text;
    } sources[] = {
        {"0 AM1 ABC", 4, "ABC"},
        {"0 AM2 ABC", 5, "ABC"},
        {"0 FM2 ABC", 2, "ABC"},
        {"0 FM3 ABC", 3, "ABC"},
        {"0 fm1 ABC", 0, "ABC"},
        {"0 \"FM1 \" ABC", 0, "ABC"},
        {"5 AM1 ABC", 12, "ABC"},
        {"2 \"\" ABC", 13, ""},
        {"3 \"\" ABC", 13, ""},
        {"4 \"\"", 0, ""},
        {"6 \"\" ABC", 0, "ABC"},
        {"9 \"\" ABC", 0, "ABC"},
        {"10 \"\" ABC", 10, ""},
        {"11 \"\" ABC", -1, ""},
        {"-1 FM1 ABC", -1, ""},
        {"4 \"\" ABCDEFGHIJKLMNO", 0, "ABCDEFGHIJKL"},
        {"7 \"\" 123456789012", 0, "123456789012"},
        {"8 \"\" Café€", 0, "Caf\xe9?"},
    };
    for (const auto &s : sources) {
        const QByteArray data = QByteArray(1, char(s.code)) + '\x01' + s.text.leftJustified(12);
        QTest::addRow("%s", s.call)
            << QString("source %1; sent=%2")
                   .arg(s.call, s.code < 0 ? "" : protocol::build(0x91, data).toHex());
    }
}

QVX_SCRIPT_ROWS_MAIN(rows)
