#include "orv/tm/message_head.h"

#include <cstdint>

#include "wire_form.h"

namespace orv::tm {

namespace {

/// MessagePack items, as far as a head has them.
class Head_items {
  public:
    explicit Head_items(std::span<const std::byte> bytes) : left_(bytes) {}

    std::optional<std::uint64_t> take_number() {
        const auto first = take_bytes(1);
        if (!first) return {};
        const auto form = static_cast<std::uint8_t>(first->front());
        if (form < 0x80) return form;
        constexpr std::uint8_t kUint8 = 0xcc, kUint64 = 0xcf;
        if (form < kUint8 || form > kUint64) return {};
        return take_big_endian(std::size_t{1} << (form - kUint8));
    }

    std::optional<std::string_view> take_string() {
        const auto first = take_bytes(1);
        if (!first) return {};
        const auto form = static_cast<std::uint8_t>(first->front());
        std::optional<std::uint64_t> size;
        constexpr std::uint8_t kFixed = 0xa0, kLastFixed = 0xbf, kStr8 = 0xd9, kStr32 = 0xdb;
        if (form >= kFixed && form <= kLastFixed) {
            size = form - kFixed;
        } else if (form >= kStr8 && form <= kStr32) {
            size = take_big_endian(std::size_t{1} << (form - kStr8));
        }
        if (!size) return {};
        const auto text = take_bytes(*size);
        if (!text) return {};
        return std::string_view(reinterpret_cast<const char*>(text->data()), text->size());
    }

    std::optional<std::span<const std::byte>> take_bytes(std::uint64_t count) {
        if (count > left_.size()) return {};
        const auto taken = left_.first(count);
        left_ = left_.subspan(count);
        return taken;
    }

  private:
    std::optional<std::uint64_t> take_big_endian(std::size_t count) {
        const auto bytes = take_bytes(count);
        if (!bytes) return {};
        std::uint64_t number = 0;
        for (const std::byte byte : *bytes) number = number << 8 | static_cast<std::uint8_t>(byte);
        return number;
    }

    std::span<const std::byte> left_;
};

}  // namespace

std::optional<Message_head> read_message_head(std::span<const std::byte> bytes) {
    constexpr std::uint8_t kFixedArray = 0x90;
    Head_items items(bytes);
    const auto array = items.take_bytes(1);
    if (!array) return {};
    const auto count = static_cast<std::uint8_t>(array->front());
    if (count != kFixedArray + wire::kMessageItems && count != kFixedArray + wire::kMessageItems + 1)
        return {};
    const auto version = items.take_number(), type = items.take_number();
    const auto flags = items.take_number(), number = items.take_number();
    const auto name = items.take_string();
    if (!name || version != wire::kFormatVersion || !type || *type > TMT_FAULT || !flags || !number)
        return {};
    return Message_head{static_cast<TMT>(*type), *name};
}

}  // namespace orv::tm
