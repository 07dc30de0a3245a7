// String resources with numbered placeholders.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <sstream>
#include <string>
#include <unordered_map>
#include <vector>

namespace orv::framework {

/// All texts by id. Filled while plug-ins register; read-only afterwards.
class CResourceManager {
  public:
    static CResourceManager& Instance();

    /// Adding an id twice with another text throws COrvLogicError that shows both.
    void AddStringResource(std::uint32_t id, const std::string& text);
    /// The raw text, placeholders included. An unknown id throws COrvLogicError.
    const std::string& GetStringResource(std::uint32_t id) const;
    /// All ids in ascending order.
    std::vector<std::uint32_t> GetIds() const;

  private:
    std::unordered_map<std::uint32_t, std::string> texts_;
};

/// Fills the placeholders {1} to {n} of a resource with the arguments in the order in which they were
/// appended.
///
/// A placeholder without argument is left in the text, so that the gap shows; surplus arguments are ignored.
/// Placeholders in arguments are not replaced.
class ResourceFormatter {
  public:
    explicit ResourceFormatter(std::uint32_t id);

    /// Arguments shorter than the width are filled up on the left.
    void SetFieldWidth(int width, char fill = ' ');

    template <class T>
    ResourceFormatter& operator<<(const T& argument) {
        std::ostringstream text;
        text << argument;
        Append(text.str());
        return *this;
    }

    std::string ToString() const;

  private:
    void Append(std::string text);

    std::uint32_t id_;
    int width_ = 0;
    char fill_ = ' ';
    std::vector<std::string> arguments_;
};

std::ostream& operator<<(std::ostream& out, const ResourceFormatter& formatter);

}  // namespace orv::framework
