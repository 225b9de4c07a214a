// Numbers as users type them: decimal or 0x-hex, leading zeros decimal, anything else refused.
#include "number.h"
#include "serialport.h"

#include <QtTest>

class tst_Number : public QObject
{
    Q_OBJECT
private slots:
    void parse_data();
    void parse();
    void environment();
};

void tst_Number::parse_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<int>("value");
    QTest::newRow("decimal") << "52" << true << 52;
    QTest::newRow("leading zero, not octal") << "060" << true << 60;
    QTest::newRow("hex") << "0x3c" << true << 60;
    QTest::newRow("hex upper") << "0X5E" << true << 94;
    QTest::newRow("negative") << "-1" << true << -1;
    QTest::newRow("int max") << "2147483647" << true << 2147483647;
    QTest::newRow("empty") << "" << false << 0;
    QTest::newRow("bare 0x") << "0x" << false << 0;
    QTest::newRow("letter in decimal") << "09x" << false << 0;
    QTest::newRow("space") << " 5" << false << 0;
    QTest::newRow("plus") << "+5" << false << 0;
    QTest::newRow("negative hex") << "-0x5" << false << 0;
    QTest::newRow("overflow") << "2147483648" << false << 0;
    QTest::newRow("other script digits") << QString::fromUtf8("\u0663") << false << 0;
}

void tst_Number::parse()
{
    QFETCH(QString, text);
    QFETCH(bool, ok);
    QFETCH(int, value);
    int parsed = 0;
    QCOMPARE(qvx::parseNumber(text, &parsed), ok);
    QCOMPARE(parsed, value);
}

// The host stand-in reads the car model from its environment with the same rules.
void tst_Number::environment()
{
    qputenv("CANSERVICE_CAR_MODEL_ID", "094");
    qputenv("CANSERVICE_CAR_MODEL_INDEX", "12a");
    QTest::ignoreMessage(
        QtWarningMsg,
        "CANSERVICE_CAR_MODEL_INDEX: '12a' is not a number (decimal or 0x-hex); using 0");
    QCOMPARE(CanBusManager::instance()->getCarModelId(), 94);
    QCOMPARE(CanBusManager::instance()->getQvxCarModelIndex(), 0);
}

QTEST_GUILESS_MAIN(tst_Number)
#include "tst_number.moc"
