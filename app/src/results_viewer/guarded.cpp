#include "results_viewer/guarded.h"

#include <new>
#include <ostream>
#include <sstream>

#include "output/printable.h"
#include "results_viewer/results_database.h"

namespace orv::app {

int PrintResultsError(std::ostream& err, const std::string& text, int status) {
    std::istringstream lines("Error: " + text);
    for (std::string line; std::getline(lines, line);) err << MakePrintable(line) << '\n';
    return status;
}

int RunGuarded(std::ostream& err, const std::function<void()>& work) {
    constexpr int kBadInput = 2, kFailure = 3;
    try {
        work();
    } catch (const ResultsError& error) {
        return PrintResultsError(err, error.what(), kBadInput);
    } catch (const ResultsFailure& error) {
        return PrintResultsError(err, error.what(), kFailure);
    } catch (const std::bad_alloc&) {
        return PrintResultsError(err, "there is not enough memory", kFailure);
    }
    return 0;
}

}  // namespace orv::app
