#include "results/IlTimestamp.h"

#include <fmt/format.h>

#include <iterator>

namespace orv::iptv {

namespace {

/// Writes digits from the right: a row of results has thirteen times, and general formatting would take more
/// than everything else about it.
class DigitsFromTheRight {
  public:
    /// `value` modulo 10 to the `digits`; returns the rest.
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
    if (ts < 0) {  // nothing that a port counts
        return fmt::format("{:04}:{:02}:{:02}.{:03}{:03}{:03}", h, min % 60, s % 60, ms % 1000, us % 1000,
                           ts % 100 * 10);
    }
    DigitsFromTheRight text;
    text.Put('0');
    text.Put(static_cast<unsigned long>(ts), 8);  // ticks of a second
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
