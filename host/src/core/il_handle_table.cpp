#include "il_handle_table.h"

namespace orv::core {

CIlHandleTable& CIlHandleTable::Instance() {
    static CIlHandleTable table;
    return table;
}

std::uint32_t CIlHandleTable::Get(std::uint32_t port_handle, std::uint32_t interface_handle) {
    Numbers& numbers = ports_[port_handle];
    const auto [entry, is_new] = numbers.by_interface.try_emplace(interface_handle, 0);
    if (!is_new) return entry->second;
    if (numbers.returned.empty()) {
        entry->second = ++numbers.last;
    } else {
        entry->second = *numbers.returned.begin();
        numbers.returned.erase(numbers.returned.begin());
    }
    return entry->second;
}

void CIlHandleTable::ForgetInterface(std::uint32_t interface_handle) {
    for (auto& [port_handle, numbers] : ports_) {
        const auto entry = numbers.by_interface.find(interface_handle);
        if (entry == numbers.by_interface.end()) continue;
        numbers.returned.insert(entry->second);
        numbers.by_interface.erase(entry);
    }
}

}  // namespace orv::core
