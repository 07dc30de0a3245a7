#include "results/UnsavedRows.h"

#include <algorithm>
#include <ranges>
#include <utility>

#include "IptvLog.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/ids/framework_ids.h"
#include "results/EventRows.h"

namespace orv::iptv {

using core::PackedRows;
using framework::CHandleRegistry;
using framework::CScriptable;

namespace {

void WarnOfLoss() {
    LogText(devLogger(), LogLevelType::Warn, " CIptvEventResults is NULL");
}

void DestroyObjects(const std::vector<std::uint32_t>& handles) {
    // In reverse, because a parent finds its last child fastest.
    for (const std::uint32_t handle : handles | std::views::reverse) {
        CScriptable* row = CHandleRegistry::Instance().Find(handle);
        if (row) {
            row->Delete();
        } else {
            WarnOfLoss();
        }
    }
}

}  // namespace

PackedRows& UnsavedRows::Group(Kind kind) {
    if (packed_.empty()) {
        packed_.emplace_back(GetViewLayout());
        packed_.emplace_back(GetRetransmissionLayout());
    }
    return packed_[kind];
}

core::PackedRow UnsavedRows::Add(PackedRows& rows, std::uint32_t block) {
    return rows.Add(CHandleRegistry::Instance().Reserve(), block);
}

std::size_t UnsavedRows::GetCount() const {
    std::size_t count = objects_.size() - taken_;
    for (const PackedRows& rows : packed_) count += rows.GetCount();
    return count;
}

/// Removes the rows that are objects now, and those that have lost their blocks or would with the next apply.
/// The others take on whether their block is active.
void UnsavedRows::Update(PackedRows& rows) {
    std::uint32_t handle = kTaken;  // successive rows mostly have the same parent
    const CScriptable* parent = nullptr;
    rows.RemoveIf([&](std::size_t row) {
        if (rows.GetParent(row) == kTaken) return true;
        if (rows.GetParent(row) != handle) {
            handle = rows.GetParent(row);
            parent = CHandleRegistry::Instance().Find(handle);
        }
        if (!parent) {
            WarnOfLoss();
        } else if (!parent->GetActive()) {
            rows.EditRow(row).Set(ids::Scriptable::Active, false);
        }
        return !parent || parent->IsDeleted();
    });
}

void UnsavedRows::Save(core::TestResultManager& database) {
    // Saving may wait for the disk, and somebody may ask for rows meanwhile: first they leave.
    std::vector<PackedRows> packed;
    for (PackedRows& rows : packed_) {
        Update(rows);
        packed.push_back(rows.Take());
    }
    taken_ = 0;
    const std::vector<std::uint32_t> handles = std::exchange(objects_, {});
    framework::ScriptableVec objects;
    for (const std::uint32_t handle : handles) {
        if (CScriptable* row = CHandleRegistry::Instance().Find(handle)) objects.push_back(row);
    }
    if (!objects.empty()) database.SaveResults(objects);
    for (PackedRows& rows : packed) {
        if (rows.GetCount() > 0) database.SaveRows(std::move(rows));
    }
    DestroyObjects(handles);
}

void UnsavedRows::Destroy() {
    for (PackedRows& rows : packed_) {
        Update(rows);
        rows.Clear();
    }
    taken_ = 0;
    DestroyObjects(std::exchange(objects_, {}));
}

CScriptable* UnsavedRows::MakeObject(std::uint32_t handle) {
    for (PackedRows& rows : packed_) {
        const auto numbers = std::views::iota(std::size_t{0}, rows.GetCount());
        const auto row = std::ranges::lower_bound(numbers, handle, {},
                                                  [&rows](std::size_t i) { return rows.GetHandle(i); });
        if (row != numbers.end() && rows.GetHandle(*row) == handle) return MakeObject(rows, *row);
    }
    return nullptr;
}

void UnsavedRows::MakeChildren(const CScriptable& parent, common::ClassId id) {
    for (PackedRows& rows : packed_) {
        if (rows.GetCount() == 0 || !rows.GetLayout()->GetClass().IsTypeOf(id)) continue;
        for (std::size_t row = 0; row < rows.GetCount(); ++row) {
            if (rows.GetParent(row) == parent.GetHandle()) MakeObject(rows, row);
        }
    }
}

CScriptable* UnsavedRows::MakeObject(PackedRows& rows, std::size_t row) {
    const std::uint32_t handle = rows.GetHandle(row);
    CScriptable* parent = CHandleRegistry::Instance().Find(rows.GetParent(row));
    if (!parent || parent->IsDeleted()) return nullptr;
    rows.SetParent(row, kTaken);
    ++taken_;
    objects_.push_back(handle);
    CScriptable* object =
        framework::CScriptableCreator().Create(&rows.GetLayout()->GetClass(), parent, true, true, handle);
    if (object) rows.CopyTo(*object, row);
    return object;
}

}  // namespace orv::iptv
