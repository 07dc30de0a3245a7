// Whether two samples differ by more than chance.
#pragma once

#include <vector>

namespace orv::app {

struct MannWhitney {
    double u = 0;  ///< of the first sample: pairs in which its value is the greater one, ties count half
    double p = 1;  ///< two-sided
};

/// The Mann-Whitney U test, two-sided, by the normal approximation with correction for ties and for
/// continuity. From eight values on in each sample p is within 0.011 of the exact one, and closer for small
/// p. Samples in which all values are equal do not differ (p is 1). Neither sample may be empty.
MannWhitney TestMannWhitney(const std::vector<double>& a, const std::vector<double>& b);

/// p values adjusted by Holm's step-down procedure, in the order given: hypotheses with an adjusted value
/// below alpha can be rejected together, with a probability of at most alpha that any of them is true.
std::vector<double> AdjustByHolm(const std::vector<double>& p);

}  // namespace orv::app
