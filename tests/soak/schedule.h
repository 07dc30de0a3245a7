// What goes wrong in a run: faults of ports, a signal, files that are taken away. The same number makes the
// same schedule.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "program.h"

namespace testing_aids {

/// Each thing that goes wrong can be left out of a schedule.
struct Mishap {
    enum class Kind : std::uint8_t { Fault, Interrupt, RemoveDatabase, RemoveRecording };
    Kind kind = Kind::Fault;
    int port = 1;            ///< Fault
    std::string fault = {};  ///< "{kind: refuse, request: Start}"
    int look = 0;            ///< the others: after so many looks of the run at its observer

    std::string Describe() const;
};

struct SoakSchedule {
    explicit SoakSchedule(std::uint64_t number);

    /// With or without what goes wrong.
    std::string GetText(bool has_faults) const;
    bool Has(Mishap::Kind kind) const;
    /// One for each view.
    bool HasEventRows() const;
    std::string Describe() const;

    TestText test;
    std::vector<Mishap> mishaps;
};

}  // namespace testing_aids
