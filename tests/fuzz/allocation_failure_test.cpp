// Memory runs out while foreign bytes are read: at the nth allocation, for n = 0, 1, 2, ... until a reader
// gets through. What comes out is std::bad_alloc or a regular answer, nothing leaks (the sanitizers' build
// tells), and the next time the same bytes are read as ever.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <new>
#include <span>
#include <utility>

#include "fuzz/program_check.h"

namespace {

thread_local long left = -1;  ///< allocations until one fails; below 0: none does

void* Allocate(std::size_t size, std::size_t alignment) {
    if (left >= 0 && left-- == 0) throw std::bad_alloc();
    const std::size_t rounded = (size + alignment - 1) / alignment * alignment;
    void* const memory = std::aligned_alloc(alignment, rounded > 0 ? rounded : alignment);
    if (!memory) throw std::bad_alloc();
    return memory;
}

/// Where it is inlined, the compiler misses the allocation that goes with std::free.
[[gnu::noinline]] void Release(void* memory) noexcept {
    std::free(memory);
}

}  // namespace

// All other forms call these.
void* operator new(std::size_t size) {
    return Allocate(size, __STDCPP_DEFAULT_NEW_ALIGNMENT__);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return Allocate(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept {
    Release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    Release(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    Release(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    Release(memory);
}

namespace testing_aids {
namespace {

struct Reader {
    const char* folder;
    std::function<bool(Bytes)> read;
    int seeds = 4;     ///< so many of the folder
    long denser = 40;  ///< every n below it, then steps of a part of n
};

void TryEachAllocation(const Reader& reader, Bytes bytes) {
    // Tables that are made at first use are there from now on.
    const bool expected = reader.read(bytes);
    static const long every = std::getenv("ORV_EVERY") ? 1 : 0;
    for (long n = 0;; n += every ? every : 1 + n / reader.denser) {
        SCOPED_TRACE("allocation " + std::to_string(n));
        left = n;
        try {
            const bool result = reader.read(bytes);
            if (std::exchange(left, -1) >= 0) {  // it got through
                EXPECT_EQ(result, expected);
                return;
            }
        } catch (const std::bad_alloc&) {
        }
        ASSERT_EQ(reader.read(bytes), expected) << "afterwards";
    }
}

/// Building its objects is more than reading: a project that is half built ends with the process.
bool ReadTestFile(Bytes bytes) {
    GetSession();
    return orv::app::TestFile::Parse(std::string(AsText(bytes)), "test.yaml").GetMistakes().empty();
}

// Not those of JSON (recordings, agents): the destructor of its library allocates, and may not throw.
const Reader kReaders[] = {
    {"message", check_message_bytes},
    {"parser", check_parser_bytes, 2},
    {"frame", check_frame_bytes},
    {"rtcp", check_rtcp_bytes},
    {"dhcp4", check_dhcp4_bytes},
    {"dhcp6", check_dhcp6_bytes},
    {"port", [](Bytes bytes) { return check_port_bytes(bytes), true; }, 2, 8},
    {"../../../examples", ReadTestFile, 2, 8},
};

class AllocationFailure : public testing::TestWithParam<Reader> {};

TEST_P(AllocationFailure, LeavesReadersAsTheyWere) {
    int seeds = GetParam().seeds;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::string(ORV_CORPUS) + "/" + GetParam().folder)) {
        if (seeds-- == 0) return;
        SCOPED_TRACE(entry.path());
        std::ifstream in(entry.path(), std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(in), {}};
        TryEachAllocation(GetParam(), std::as_bytes(std::span(text)));
    }
}
INSTANTIATE_TEST_SUITE_P(Readers, AllocationFailure, testing::ValuesIn(kReaders),
                         [](const auto& each) { return std::to_string(each.index); });

}  // namespace
}  // namespace testing_aids
