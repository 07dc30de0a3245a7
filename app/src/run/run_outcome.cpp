#include "run_outcome.h"

namespace orv::app {

const char* GetRunEndName(RunEnd end) {
    switch (end) {
        case RunEnd::Passed:
            return "passed";
        case RunEnd::Failed:
            return "failed";
        case RunEnd::BadInput:
            return "bad input";
        case RunEnd::Failure:
            return "run-time failure";
        case RunEnd::Interrupted:
            return "interrupted";
    }
    return "";
}

}  // namespace orv::app
