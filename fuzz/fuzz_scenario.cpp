// libFuzzer entry for the simulator's scenario format: any text either parses into steps in
// time order or is refused with "<file>:<line>: <message>".
#include "fuzz_formats.h"
#include "scenario.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzzformats::selfTest("fuzz_scenario");
    const QString text = fuzzformats::text(data, size);
    tools::Scenario scenario;
    tools::ParseError error;
    if (!tools::Scenario::parse(text, &scenario, &error)) {
        fuzzformats::checkError("fuzz_scenario", text, error.toString(QStringLiteral("input")));
        return 0;
    }
    double previous = 0;
    for (const tools::ScenarioStep &step : scenario.steps) {
        // A line asks for no more bytes than it holds, or for at most 4096 of noise.
        if (!(step.time >= previous) || step.bytes.size() > qMax(int(size) + 8, 4096)) {
            fprintf(stderr, "==fuzz_scenario== ORACLE FAILURE\n  line %d: time %f, %d bytes\n",
                    step.line, step.time, int(step.bytes.size()));
            abort();
        }
        previous = step.time;
    }
    return 0;
}
