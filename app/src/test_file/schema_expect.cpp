#include "expectations/expectation.h"
#include "names.h"
#include "schema_parts.h"

namespace orv::app {

Json MakeExpectDefinition() {
    std::string subjects, figures;
    for (const Subject& subject : GetSubjects()) {
        subjects +=
            (subjects.empty() ? "" : ", ") + std::string(subject.name) + (subject.IsTest() ? "" : " NAME");
        if (subject.IsTest()) figures = JoinNames(GetFigureNames(subject));
    }
    const std::string description =
        "SUBJECT: FIGURE COMPARISON NUMBER UNIT. Subjects: " + subjects + ". Figures: " + figures +
        "; latencies with one of min, mean, max, p50, p90, p95, p99, p99.9 and a unit.";
    return {{"type", {"array", "null"}},
            {"description", "What each test is expected to measure."},
            {"items",
             {{"anyOf",
               {{{"type", "string"},
                 {"description", description},
                 {"examples", {"test: failed joins <= 0.1 %", "STB block Boxes: join latency p99 <= 50 ms"}}},
                // The same without quotes.
                {{"type", "object"},
                 {"description", description},
                 {"minProperties", 1},
                 {"maxProperties", 1},
                 {"additionalProperties", {{"type", "string"}}}}}}}}};
}

}  // namespace orv::app
