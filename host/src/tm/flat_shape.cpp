#include "orv/tm/flat_shape.h"

#include <algorithm>
#include <mutex>
#include <shared_mutex>
#include <string_view>
#include <unordered_map>

#include <fmt/format.h>

#include "orv/tm/exceptions.h"

namespace orv::tm {
namespace {

void mix(std::size_t& hash, std::size_t value) {
    hash ^= value + 0x9e3779b97f4a7c15U + (hash << 6U) + (hash >> 2U);
}

/// Sorts, because shapes come from peers, who could choose names whose hashes collide.
void check_names(const std::vector<Tm_flat_member>& members) {
    std::vector<std::string_view> names;
    names.reserve(members.size());
    for (const Tm_flat_member& member : members) names.push_back(member.name);
    std::sort(names.begin(), names.end());
    auto twice = std::adjacent_find(names.begin(), names.end());
    if (twice != names.end())
        throw Tm_exception("a packed struct has the member " + quoted(*twice) + " twice");
}

bool equal(const Tm_flat_member& a, const Tm_flat_member& b) {
    if (a.kind != b.kind || a.name != b.name) return false;
    if (a.kind == TMV_STRUCT) return a.nested == b.nested || *a.nested == *b.nested;
    return a.kind != TMV_ARRAY || (a.element == b.element && a.length == b.length);
}

}  // namespace

Tm_flat_shape::Tm_flat_shape(std::vector<Tm_flat_member> members) : members_(std::move(members)) {
    check_names(members_);
    for (const Tm_flat_member& member : members_) {
        add_extent(member);
        if (row_size() > kMaxRowSize) {
            throw Tm_exception(fmt::format("a packed struct has rows of over {} bytes", kMaxRowSize));
        }
        if (total_members_ > kMaxMembers) {
            throw Tm_exception(fmt::format("a packed struct has over {} members", kMaxMembers));
        }
        mix(hash_, std::hash<std::string_view>{}(member.name));
        mix(hash_, member.kind);
    }
    if (depth_ > kMaxDepth) {
        throw Tm_exception(fmt::format("a packed struct is nested over {} levels deep", kMaxDepth));
    }
}

void Tm_flat_shape::add_extent(const Tm_flat_member& member) {
    ++total_members_;
    if (is_simple(member.kind)) {
        simple_size_ += width_of(member.kind);
    } else if (member.kind == TMV_STRUCT && member.nested != nullptr) {
        simple_size_ += member.nested->simple_size_;
        array_size_ += member.nested->array_size_;
        total_members_ += member.nested->total_members_;
        depth_ = std::max(depth_, 1 + member.nested->depth_);
        mix(hash_, member.nested->hash_);
    } else if (member.kind == TMV_ARRAY && is_simple(member.element)) {
        // The bound on the length keeps the product within range; the caller then checks the row.
        array_size_ += std::min(member.length, kMaxRowSize + 1) * width_of(member.element);
        depth_ = std::max(depth_, 2);
        mix(hash_, member.length * 16 + member.element);
    } else {
        throw Tm_exception(fmt::format("the member '{}' of a packed struct has no fixed width", member.name));
    }
}

bool Tm_flat_shape::operator==(const Tm_flat_shape& other) const {
    return hash_ == other.hash_ &&
           std::equal(members_.begin(), members_.end(), other.members_.begin(), other.members_.end(), equal);
}

/// The shapes of this process. Read once per shape and message, written when a message set is first used.
struct Tm_flat_shape::Intern_table {
    std::shared_mutex mutex;
    std::unordered_multimap<std::size_t, std::shared_ptr<const Tm_flat_shape>> shapes;

    static Intern_table& instance() {
        static auto* table =
            new Intern_table;  // never deleted: shapes are used until the last static object is gone
        return *table;
    }

    std::shared_ptr<const Tm_flat_shape> find(const Tm_flat_shape& shape) const {
        auto [first, last] = shapes.equal_range(shape.hash_);
        auto found = std::find_if(first, last, [&](const auto& entry) { return *entry.second == shape; });
        return found == last ? nullptr : found->second;
    }
};

std::shared_ptr<const Tm_flat_shape> Tm_flat_shape::intern(std::vector<Tm_flat_member> members) {
    for (Tm_flat_member& member : members) {
        if (member.nested != nullptr) member.nested = intern(member.nested->members_);
    }
    Tm_flat_shape shape(std::move(members));
    Intern_table& table = Intern_table::instance();
    std::unique_lock lock(table.mutex);
    if (auto known = table.find(shape)) return known;
    auto added = std::make_shared<const Tm_flat_shape>(std::move(shape));
    table.shapes.emplace(added->hash_, added);
    return added;
}

std::shared_ptr<const Tm_flat_shape> Tm_flat_shape::find_interned(const Tm_flat_shape& shape) {
    Intern_table& table = Intern_table::instance();
    std::shared_lock lock(table.mutex);
    return table.find(shape);
}

}  // namespace orv::tm
