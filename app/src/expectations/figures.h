// What expectations are about: kinds of objects, and the figures that they have.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace orv::app {

struct ResultRow;
struct TestReport;

/// What has figures: the test, or the objects of a class.
struct Subject {
    const char* name;                                    ///< "STB block"
    const char* called;                                  ///< "an STB block"
    const char* class_name;                              ///< empty: the test, which has no name
    std::vector<ResultRow> TestReport::*rows = nullptr;  ///< null: the test
    bool has_views = true;                               ///< otherwise only packets are counted
    bool has_flags = false;                              ///< joins and leaves above a limit are counted

    bool IsTest() const { return rows == nullptr; }
};
std::span<const Subject> GetSubjects();

/// A count that objects have: the sum of some properties of their results.
struct Count {
    enum class Share { None, OfJoins, OfPackets };

    const char* name;           ///< "lost"
    const char* properties[2];  ///< multicast and unicast; null for none
    Share share = Share::None;  ///< what "%" means
    bool is_of_views = true;    ///< see Subject::has_views
    bool is_of_flags = false;   ///< see Subject::has_flags

    bool IsKnownOf(const Subject& subject) const {
        return (subject.has_views || !is_of_views) && (subject.has_flags || !is_of_flags);
    }
};
std::span<const Count> GetCounts();

/// The names of the distributions of the results; all kinds of objects have them.
std::span<const char* const> GetLatencies();

/// A unit of latencies.
struct TimeUnit {
    const char* name;
    double times, over;  ///< two factors, because 0.001 is not exact

    double Convert(double ms) const { return ms * times / over; }
};
std::span<const TimeUnit> GetTimeUnits();

/// Latencies and counts, in the order of explanations.
std::vector<std::string> GetFigureNames(const Subject& subject);

}  // namespace orv::app
