// Sequence numbers and outstanding requests of one connection.
#include "rpc/rpc_manager_connection.h"

#include <gmock/gmock.h>

namespace host_test {
namespace {

using namespace orv::framework;  // NOLINT: tests
using testing::ElementsAre;

PendingRequest Pending(std::uint16_t seq_no, std::uint64_t serial = 0) {
    PendingRequest request;
    request.seq_no = seq_no;
    request.serial = serial;
    return request;
}

TEST(RpcConnection, SequenceNumbersWrapAroundOutstandingOnes) {
    RpcConnection connection(Messenger("//port"), nullptr);
    for (std::uint32_t expected = 1; expected <= 0xffff; ++expected) {
        ASSERT_EQ(connection.NextSeqNo(), expected);
        if (expected == 2 || expected == 0xffff)
            connection.Add(Pending(static_cast<std::uint16_t>(expected)));
    }
    std::vector<std::uint16_t> next;
    for (int i = 0; i < 3; ++i) next.push_back(connection.NextSeqNo());
    EXPECT_THAT(next, ElementsAre(1, 3, 4)) << "0 is no sequence number, 2 is in use";
}

TEST(RpcConnection, HasAnEndOfSequenceNumbers) {
    RpcConnection connection(Messenger("//port"), nullptr);
    for (int i = 0; i < 0xffff; ++i) connection.Add(Pending(connection.NextSeqNo()));
    EXPECT_EQ(connection.NextSeqNo(), 0);
    EXPECT_TRUE(connection.Take(77).has_value());
    EXPECT_EQ(connection.NextSeqNo(), 77);
}

TEST(RpcConnection, ARequestIsTakenOnceAndByItsOwnSerialNumber) {
    RpcConnection connection(Messenger("//port"), nullptr);
    connection.Add(Pending(1, 10));
    EXPECT_FALSE(connection.Take(0x10001).has_value()) << "answers carry 32 bits";
    EXPECT_FALSE(connection.TakeSerial(1, 9).has_value()) << "the time-out of an earlier one of that number";
    EXPECT_TRUE(connection.TakeSerial(1, 10).has_value());
    EXPECT_FALSE(connection.Take(1).has_value());
}

TEST(RpcConnection, AllAreTakenInTheOrderOfSending) {
    RpcConnection connection(Messenger("//port"), nullptr);
    for (const auto& [seq_no, serial] : {std::pair{0xffff, 1}, {1, 2}, {2, 3}}) {
        connection.Add(Pending(static_cast<std::uint16_t>(seq_no), static_cast<std::uint64_t>(serial)));
    }
    std::vector<std::uint16_t> order;
    for (const PendingRequest& request : connection.TakeAll()) order.push_back(request.seq_no);
    EXPECT_THAT(order, ElementsAre(0xffff, 1, 2));
    EXPECT_EQ(connection.GetPendingCount(), 0u);
}

}  // namespace
}  // namespace host_test
