// Steering-wheel and panel keys: press, release and long press as keyEvent sees them.
#include "testsupport.h"


namespace {
QByteArray swc(int code, int action, int length = 10)
{
    QByteArray data(length, 0);
    data[2] = char(code);
    data[3] = char(action);
    return protocol::build(0x11, data);
}

QByteArray panel(int code, int action, int length = 2)
{
    QByteArray data(length, 0);
    data[0] = char(code);
    if (length > 1)
        data[1] = char(action);
    return protocol::build(0x21, data);
}

// "code state source" per keyEvent, in order.
QStringList events(const QSignalSpy &spy)
{
    QStringList out;
    for (const QList<QVariant> &args : spy) {
        out << QStringLiteral("%1 %2 %3")
                   .arg(args.at(0).toInt())
                   .arg(args.at(1).toInt())
                   .arg(args.at(2).toBool() ? "swc" : "panel");
    }
    return out;
}
} // namespace

class tst_Keys : public QObject
{
    Q_OBJECT
private slots:
    void sequences_data();
    void sequences();
    void wrongLength();
    void longPress();
    void releaseSignalSeesKeyHeld();
};

void tst_Keys::sequences_data()
{
    QTest::addColumn<QByteArrayList>("frames");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("panel short press") << QByteArrayList{panel(0x15, 1), panel(0x15, 0)}
                                       << QStringList{"21 0 panel", "21 1 panel"};
    QTest::newRow("steering-wheel short press")
        << QByteArrayList{swc(3, 1), swc(3, 0)} << QStringList{"3 0 swc", "3 1 swc"};
    QTest::newRow("code above 127")
        << QByteArrayList{swc(0xFF, 1), swc(0xFF, 0)} << QStringList{"255 0 swc", "255 1 swc"};
    QTest::newRow("press while held is dropped")
        << QByteArrayList{swc(3, 1), panel(7, 1), swc(4, 1), swc(3, 0)}
        << QStringList{"3 0 swc", "3 1 swc"};
    QTest::newRow("release carries the held code") << QByteArrayList{panel(0x15, 1), panel(0x16, 0)}
                                                   << QStringList{"21 0 panel", "21 1 panel"};
    QTest::newRow("panel release ends a steering-wheel key")
        << QByteArrayList{swc(3, 1), panel(9, 0)} << QStringList{"3 0 swc", "3 1 swc"};
    QTest::newRow("steering-wheel release ends a panel key")
        << QByteArrayList{panel(9, 1), swc(3, 0)} << QStringList{"9 0 panel", "9 1 panel"};
    QTest::newRow("release while idle") << QByteArrayList{swc(3, 0), panel(3, 0)} << QStringList{};
    QTest::newRow("other actions ignored")
        << QByteArrayList{swc(3, 2), panel(3, 0xFF), swc(3, 1), panel(3, 2), swc(3, 0)}
        << QStringList{"3 0 swc", "3 1 swc"};
    QTest::newRow("next press after a release")
        << QByteArrayList{swc(3, 1), swc(3, 0), panel(5, 1), panel(5, 0)}
        << QStringList{"3 0 swc", "3 1 swc", "5 0 panel", "5 1 panel"};
}

void tst_Keys::sequences()
{
    QFETCH(QByteArrayList, frames);
    QFETCH(QStringList, expected);
    ServiceHarness h;
    QSignalSpy keys(h.service.get(), &CanServiceBase::keyEvent);

    for (const QByteArray &f : frames)
        h.feed(f);

    QCOMPARE(events(keys), expected);
}

void tst_Keys::wrongLength()
{
    LogCapture log;
    ServiceHarness h;
    QSignalSpy keys(h.service.get(), &CanServiceBase::keyEvent);

    h.feed(swc(3, 1, 9));
    h.feed(swc(3, 1, 11));
    h.feed(panel(5, 1, 3));
    h.feed(panel(5, 1, 1));
    QCOMPARE(log.criticalCount("doSwc"), 2);
    QCOMPARE(log.criticalCount("doPanelKey"), 2);
    QCOMPARE(keys.count(), 0);

    // A malformed release does not end the held key either.
    h.feed(panel(5, 1));
    h.feed(swc(5, 0, 9));
    h.feed(panel(5, 0, 3));
    QCOMPARE(events(keys), QStringList{"5 0 panel"});
    h.feed(panel(5, 0));
    QCOMPARE(events(keys), (QStringList{"5 0 panel", "5 1 panel"}));
}

// The long press at 1500 ms on the service's own timer, on a clock the test moves.
void tst_Keys::longPress()
{
    qvxtest::VirtualClock *clock = qvxtest::VirtualClock::instance();
    ServiceHarness h;
    QSignalSpy keys(h.service.get(), &CanServiceBase::keyEvent);

    h.feed(swc(3, 1));
    clock->advance(1000);
    h.feed(panel(3, 1)); // dropped, and does not restart the 1500 ms
    clock->advance(499);
    QCOMPARE(keys.count(), 1);
    clock->advance(1);
    QCOMPARE(keys.count(), 2);
    h.feed(swc(3, 0));
    QCOMPARE(events(keys), (QStringList{"3 0 swc", "3 2 swc", "3 3 swc"}));

    // A short press stops the timer: no long press follows its release.
    h.feed(panel(5, 1));
    clock->advance(1499);
    h.feed(panel(5, 0));
    clock->advance(5000);
    QCOMPARE(events(keys).mid(3), (QStringList{"5 0 panel", "5 1 panel"}));
}

// The key is let go only after its release is reported: a host slot that feeds a press from
// inside the release signal still finds it held, and that press is dropped.
void tst_Keys::releaseSignalSeesKeyHeld()
{
    ServiceHarness h;
    QSignalSpy keys(h.service.get(), &CanServiceBase::keyEvent);
    QObject::connect(h.service.get(), &CanServiceBase::keyEvent, [&h](int code, int state, bool) {
        if (code == 5 && state == 1)
            h.feed(panel(7, 1));
    });
    h.feed(panel(5, 1));
    h.feed(panel(5, 0));
    QCOMPARE(events(keys), (QStringList{"5 0 panel", "5 1 panel"}));
    h.feed(panel(8, 1)); // and afterwards it is idle
    QCOMPARE(events(keys).last(), QStringLiteral("8 0 panel"));
}

QVX_VIRTUAL_TIME_MAIN(tst_Keys)
#include "tst_keys.moc"
