// Texts that are built only when they are written.
#pragma once

#include <concepts>
#include <string>
#include <type_traits>

namespace orv::framework {

/// A text for a log: an existing one (a literal, a variable), or a function that builds it,
/// which is called only when the text is written.
///
/// A text built in the argument does not compile, because it would be built also for a level
/// that is off: `LogText(logger, level, [&] { return "..." + name; })` instead of `"..." + name`. To be used
/// as an argument: it refers to what it was made from.
class LazyText {
  public:
    LazyText(const char* text)
        : source_(text),
          get_([](const void* source) { return std::string(static_cast<const char*>(source)); }) {}
    LazyText(const std::string& text)
        : source_(&text), get_([](const void* source) { return *static_cast<const std::string*>(source); }) {}
    LazyText(const std::string&& text) = delete;
    template <class MakeText>
    requires std::convertible_to<std::invoke_result_t<const MakeText&>, std::string> LazyText(
        const MakeText& make_text)
        : source_(&make_text),
          get_([](const void* source) { return std::string((*static_cast<const MakeText*>(source))()); }) {}

    std::string Get() const { return get_(source_); }

  private:
    const void* source_;
    std::string (*get_)(const void* source);
};

}  // namespace orv::framework
