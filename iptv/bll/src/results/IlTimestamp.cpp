#include "results/IlTimestamp.h"

#include <fmt/format.h>

#include <iterator>

namespace orv::iptv {

namespace {

/// Writes digits from right to left. An event row has thirteen time stamps; general-purpose formatting would
/// cost more than the rest of the row.
class DigitsFromTheRight {
  public:
    /// Writes the last `digits` digits of `value`, and returns the value without them.
    unsigned long Put(unsigned long value, int digits) {
        for (; digits > 0; --digits, value /= 10) *--first_ = static_cast<char>('0' + value % 10);
        return value;
    }
    void Put(char separator) { *--first_ = separator; }
    std::string GetText() const { return std::string(static_cast<const char*>(first_), std::end(text_)); }

  private:
    char text_[40];
    char* first_ = std::end(text_);
};

}  // namespace

std::string ConvertTimestampToString(long ts) {
    const long us = ts / 100;
    const long ms = us / 1000;
    const long s = ms / 1000;
    const long min = s / 60;
    const long h = min / 60;
    if (ts < 0) {  // no valid port time
        return fmt::format("{:04}:{:02}:{:02}.{:03}{:03}{:03}", h, min % 60, s % 60, ms % 1000, us % 1000,
                           ts % 100 * 10);
    }
    DigitsFromTheRight text;
    text.Put('0');
    text.Put(static_cast<unsigned long>(ts), 8);  // ticks within the second
    text.Put('.');
    text.Put(static_cast<unsigned long>(s % 60), 2);
    text.Put(':');
    text.Put(static_cast<unsigned long>(min % 60), 2);
    text.Put(':');
    for (unsigned long rest = text.Put(static_cast<unsigned long>(h), 4); rest != 0;)
        rest = text.Put(rest, 1);
    return text.GetText();
}

}  // namespace orv::iptv
