// Steering-wheel (11 .. @2 CODE ACTION) and panel (21 CODE ACTION) keys as keyEvent sees them.
#include "drive.h"

class tst_Keys : public QObject
{
    Q_OBJECT
private slots:
    void drive_data();
    QVX_DRIVE_ROWS
    void releaseSignalSeesKeyHeld();
};

void tst_Keys::drive_data()
{
    QTest::addColumn<QString>("script");
    QTest::newRow("panel short press")
        << "21 1501; 21 1500; signals=keyEvent(21,0,false) keyEvent(21,1,false)";
    QTest::newRow("steering-wheel short press, code above 127")
        << "11 .. @2 ff01; 11 .. @2 ff00; signals=keyEvent(255,0,true) keyEvent(255,1,true)";
    QTest::newRow("a press while held is dropped")
        << "11 .. @2 0301; 21 0701; 11 .. @2 0401; 11 .. @2 0300; "
           "signals=keyEvent(3,0,true) keyEvent(3,1,true)";
    QTest::newRow("a release from either source ends the held key with its code")
        << "21 1501; 21 1600; 11 .. @2 0301; 21 0900; 21 0901; 11 .. @2 0300; "
           "signals=keyEvent(21,0,false) keyEvent(21,1,false) keyEvent(3,0,true) "
           "keyEvent(3,1,true) keyEvent(9,0,false) keyEvent(9,1,false)";
    QTest::newRow("releases while idle and other actions are ignored")
        << "11 .. @2 0300; 21 0300; 11 .. @2 0302; 21 03ff; 11 .. @2 0301; 21 0302; "
           "signals=keyEvent(3,0,true)";
    QTest::newRow("long press at 1500 ms, not restarted by a dropped press")
        << "11 .. @2 0301; wait 1000; 21 0301; wait 499; signals=keyEvent(3,0,true); wait 1; "
           "signals=keyEvent(3,2,true); 11 .. @2 0300; signals=keyEvent(3,3,true)";
    QTest::newRow("a short press leaves no long press behind")
        << "21 0501; wait 1499; 21 0500; wait 5000; "
           "signals=keyEvent(5,0,false) keyEvent(5,1,false)";
    QTest::newRow("wrong length: neither press nor release")
        << "11 000003010000000000; 11 00000301000000000000 00; 21 050100; 21 05; "
           "errors=doRotate, doSwc, doRotate, doSwc, doPanelKey, doPanelKey; signals=; 21 0501; "
           "11 000005000000000000; 21 050000; 21 0500; errors=doRotate, doSwc, doPanelKey; "
           "signals=keyEvent(5,0,false) keyEvent(5,1,false)";
}

// A host slot that feeds a press from inside the release signal finds the key still held.
void tst_Keys::releaseSignalSeesKeyHeld()
{
    qvxtest::Drive d;
    QObject::connect(d.service.get(), &CanServiceBase::keyEvent, [&d](int code, int state, bool) {
        if (code == 5 && state == 1)
            d.run("21 0701");
    });
    const QString script = "21 0501; 21 0500; 21 0801; "
                           "signals=keyEvent(5,0,false) keyEvent(5,1,false) keyEvent(8,0,false)";
    QCOMPARE(d.run(script), qvxtest::Drive::expected(script));
}

QVX_VIRTUAL_TIME_MAIN(tst_Keys)
#include "tst_keys.moc"
