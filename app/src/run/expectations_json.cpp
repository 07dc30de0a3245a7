#include "expectations_json.h"

#include <string>

namespace orv::app {

nlohmann::ordered_json MakeExpectationsJson(const RunOutcome& outcome, const TestReport& test) {
    using Json = nlohmann::ordered_json;
    Json list = Json::array();
    for (const ExpectationResult& one : test.expectations) {
        const std::string verdict = GetVerdict(outcome, test, one);
        list.push_back({{"text", one.text},
                        {"met", verdict == "not finished" ? Json() : Json(one.met)},
                        {"measured", one.measured ? Json(*one.measured) : Json()},
                        {"unit", one.unit}});
    }
    return list;
}

}  // namespace orv::app
