// Fills records of the message sets with random values.
#pragma once

#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "msgset_registry.h"

namespace msgset_test {

/// Fills any record, or any type that a member or an argument of a message can have. The same seed gives the
/// same values.
struct Random_values {
    explicit Random_values(unsigned seed) : engine_(seed) {}

    template <class T>
    void fill(T& value) {
        if constexpr (std::is_same_v<T, bool>) {
            value = below(2) == 1;
        } else if constexpr (std::is_integral_v<T>) {
            // Ends of the range are where widths and signs go wrong.
            const std::uint64_t bits = engine_();
            const T ends[] = {std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), T{0}};
            value = below(4) == 0 ? ends[below(3)] : static_cast<T>(bits);
        } else if constexpr (std::is_enum_v<T>) {
            const orv::tm::tm_enum_map* map = map_of(T{});
            unsigned count = 0;
            while (map[count].name != nullptr) ++count;
            value = static_cast<T>(map[below(count)].value);
        } else {
            for_each_field(
                value, [this](auto& field) { this->fill(field); },
                [this](auto& field) { this->fill(field, 2); });
        }
    }
    void fill(std::string& text) { text.assign(below(4), static_cast<char>('a' + below(26))); }
    void fill(iptvcd_1_bll::ipAddress_t& address) {
        address = {};
        address.type = below(2);
        address.type == iptvcd_1_bll::ipAddress_t::kV4 ? fill(address.v4.address) : fill(address.v6.address);
    }
    template <class T, std::size_t N>
    void fill(T (&values)[N]) {
        for (T& value : values) fill(value);
    }
    template <class T>
    void fill(std::vector<T>& values, unsigned size_limit = 4) {
        values.clear();
        values.resize(below(size_limit));
        for (T& value : values) fill(value);
    }

    unsigned below(unsigned limit) { return std::uniform_int_distribution<unsigned>(0, limit - 1)(engine_); }

  private:
    std::mt19937_64 engine_;
};

}  // namespace msgset_test
