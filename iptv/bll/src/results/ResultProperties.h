// Writing figures into the properties of result objects.
#pragma once

#include <initializer_list>

#include "orv/framework/scriptable.h"
#include "results/AccumStat.h"

namespace orv::iptv {

/// The three properties of a statistic.
struct StatProperties {
    framework::PropId min;
    framework::PropId avg;
    framework::PropId max;
};

/// Minimum and maximum of an empty statistic are 0.
inline void SetStat(framework::CScriptable& result, const StatProperties& properties,
                    const CAccumStatDouble& stat) {
    result.Set(properties.min, stat.count == 0 ? 0.0 : stat.min);
    result.Set(properties.avg, stat.getAvg());
    result.Set(properties.max, stat.count == 0 ? 0.0 : stat.max);
}

inline void AddTo(framework::CScriptable& result, framework::PropId id, double value) {
    result.Set(id, result.GetDouble(id) + value);
}

inline void AddTo(framework::CScriptable& result, framework::PropId id, std::uint64_t value) {
    result.Set(id, result.GetU64(id) + value);
}

/// 0 if `seconds` is 0.
inline double GetRate(double count, double seconds) {
    return seconds == 0.0 ? 0.0 : count / seconds;
}

/// Sets the numeric properties of a class to 0, except inherited ones.
void ZeroOwnNumbers(framework::CScriptable& result, common::ClassId id);

}  // namespace orv::iptv
