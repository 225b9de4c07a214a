// libFuzzer entry for the capture format: any text either reads as records in time order,
// each printing back to a line that reads the same, or is refused with "<file>:<line>: ...".
#include "capture.h"
#include "fuzz_formats.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzzformats::selfTest("fuzz_capture");
    const QString text = fuzzformats::text(data, size);
    QList<tools::CaptureRecord> records;
    tools::ParseError error;
    if (!tools::parseCapture(text, &records, &error)) {
        fuzzformats::checkError("fuzz_capture", text, error.toString(QStringLiteral("input")));
        return 0;
    }
    for (const tools::CaptureRecord &record : records) {
        QList<tools::CaptureRecord> again;
        if (!tools::parseCapture(tools::formatCaptureRecord(record), &again, &error) ||
            again.size() != 1 || again.first().bytes != record.bytes ||
            again.first().received != record.received) {
            fprintf(stderr, "==fuzz_capture== ORACLE FAILURE\n  line %d does not read back\n",
                    record.line);
            abort();
        }
    }
    return 0;
}
