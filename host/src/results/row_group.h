// Copies of objects' values for the writer thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "orv/framework/scriptable.h"

namespace orv::results {

/// One value of a row as it lies in a group.
struct StoredValue {
    enum class Kind : std::uint8_t { Null, Integer, Real, Text, Handle, Handles, Ipv4, Ipv6, Mac };

    Kind kind = Kind::Null;
    std::int64_t integer = 0;  ///< Integer, Handle
    double real = 0;
    std::string_view bytes;  ///< Text; the others as they lie in memory
};

/// Rows of any number of classes. Values lie one behind the other without an allocation of their own, because
/// the copying thread holds the task lock.
class RowGroup {
  public:
    /// The rows of one class, in the order in which they were added.
    struct ClassRows {
        const framework::CMetaClass* meta_class;
        std::string bytes;
    };
    struct Relation {
        std::uint32_t source;
        std::uint32_t target;
        std::string type;
    };

    /// `rows_per_class`: about how many are going to be added; a hint.
    explicit RowGroup(std::size_t rows_per_class = 0) : rows_per_class_(rows_per_class) {}

    void Add(const framework::CScriptable& object);
    void AddRelation(std::uint32_t source, std::uint32_t target, std::string type) {
        relations_.push_back({source, target, std::move(type)});
    }

    const std::vector<ClassRows>& GetRows() const { return rows_; }
    const std::vector<Relation>& GetRelations() const { return relations_; }
    /// Bytes that the group takes, about.
    std::size_t GetSize() const;

  private:
    std::string& BytesOf(const framework::CMetaClass& meta_class);

    std::size_t rows_per_class_;
    std::vector<ClassRows> rows_;
    std::vector<Relation> relations_;
};

/// Reads the rows of one class: for each row its handle and its parent's, then one value per slot.
class RowReader {
  public:
    explicit RowReader(const RowGroup::ClassRows& rows) : rest_(rows.bytes) {}
    bool IsAtEnd() const { return rest_.empty(); }
    std::uint32_t NextHandle();
    StoredValue NextValue();

  private:
    template <class T>
    T Take();
    std::string_view TakeBytes(std::size_t size);

    std::string_view rest_;
};

}  // namespace orv::results
