// Event rows on their way to the database.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "orv/core/packed_rows.h"
#include "orv/core/test_result_manager.h"
#include "orv/framework/handle_registry.h"

namespace orv::iptv {

/// The event rows of a test that are not saved yet. Rows have handles but are packed: a test has millions of
/// them, each for seconds. One becomes an object, with the same values, when somebody looks up its handle or
/// the children of its block; from then on the object is what is saved.
class UnsavedRows : public framework::IDeferredObjects {
  public:
    UnsavedRows() { framework::CHandleRegistry::Instance().AddDeferred(*this); }
    ~UnsavedRows() override { framework::CHandleRegistry::Instance().RemoveDeferred(*this); }
    UnsavedRows(const UnsavedRows&) = delete;
    UnsavedRows& operator=(const UnsavedRows&) = delete;

    /// New rows below a block. Valid until the next one.
    core::PackedRow AddView(std::uint32_t block) { return Add(Group(kViews), block); }
    core::PackedRow AddRetransmission(std::uint32_t block) { return Add(Group(kRetransmissions), block); }
    /// A row that is an object from the beginning.
    void AddObject(const framework::CScriptable& row) { objects_.push_back(row.GetHandle()); }

    std::size_t GetCount() const;
    /// Saves and destroys all rows. Those whose block is gone or deleted are left out.
    void Save(core::TestResultManager& database);
    /// Destroys all rows, with a warning for each that somebody else has destroyed.
    void Destroy();

    framework::CScriptable* MakeObject(std::uint32_t handle) override;
    void MakeChildren(const framework::CScriptable& parent, common::ClassId id) override;

  private:
    enum Kind : std::size_t { kViews, kRetransmissions };
    static constexpr std::uint32_t kTaken = 0;  ///< in place of the parent of a row that is an object now

    core::PackedRows& Group(Kind kind);
    static core::PackedRow Add(core::PackedRows& rows, std::uint32_t block);
    framework::CScriptable* MakeObject(core::PackedRows& rows, std::size_t row);
    void Update(core::PackedRows& rows);

    std::vector<core::PackedRows> packed_;  ///< by kind, in the order of handles; empty before the first row
    std::vector<std::uint32_t> objects_;    ///< handles
    std::size_t taken_ = 0;                 ///< number of packed rows that are objects now
};

}  // namespace orv::iptv
