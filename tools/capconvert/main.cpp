// capconvert: a text capture (canhost --record FILE) as pcapng for a protocol analyser.

#include "capture.h"
#include "pcapng.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("capconvert"));
    QTextStream err(stderr);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Writes a text capture as pcapng: one packet per frame, both directions, on link type "
        "147. The capture's times count from its start; that start is the file's last change "
        "less its last time, or --start."));
    parser.addHelpOption();
    const QCommandLineOption start("start", "When the capture began (ISO 8601, UTC).", "time");
    parser.addOption(start);
    parser.addPositionalArgument("capture", "Text capture to read.");
    parser.addPositionalArgument("pcapng", "File to write.");
    parser.process(app);
    const QStringList files = parser.positionalArguments();
    if (files.size() != 2) {
        err << "capconvert: give a capture and the pcapng file to write\n";
        return 2;
    }
    QFile in(files.at(0));
    if (!in.open(QIODevice::ReadOnly)) {
        err << "capconvert: cannot read " << files.at(0) << ": " << in.errorString() << '\n';
        return 2;
    }
    QList<tools::CaptureRecord> records;
    tools::ParseError parseError;
    if (!tools::parseCapture(QString::fromUtf8(in.readAll()), &records, &parseError)) {
        err << "capconvert: " << parseError.toString(files.at(0)) << '\n';
        return 2;
    }
    qint64 startUsecs = 0;
    if (parser.isSet(start)) {
        const QDateTime t = QDateTime::fromString(parser.value(start), Qt::ISODateWithMs);
        if (!t.isValid()) {
            err << "capconvert: --start: '" << parser.value(start) << "' is no ISO 8601 time\n";
            return 2;
        }
        startUsecs = t.toMSecsSinceEpoch() * 1000;
    } else {
        const double length = records.isEmpty() ? 0 : records.last().time;
        startUsecs = QFileInfo(in).lastModified().toMSecsSinceEpoch() * 1000 - qint64(length * 1e6);
    }
    QString error;
    if (!tools::writePcapng(records, startUsecs, files.at(1), &error)) {
        err << "capconvert: cannot write " << files.at(1) << ": " << error << '\n';
        return 2;
    }
    return 0;
}
