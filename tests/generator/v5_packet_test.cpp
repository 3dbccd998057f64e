// What no run of strell reaches: an address field of a size the v5 record cannot take.
#include <gtest/gtest.h>
#include <unistd.h>

#include "generator/netflow_v5_packet.h"

TEST(V5PacketDeathTest, AddressFieldOfAnotherSizeEndsTheProcess) {
    Strell::StrellRecord fields;
    fields.add_field<unsigned short>(62, 2, 1);
    EXPECT_EXIT((dup2(STDERR_FILENO, STDOUT_FILENO), Strell::Netflow_v5_Packet(5, 0, 0, 56, "").add_record(fields)),
                testing::ExitedWithCode(1), "^Error: Incorrect size of IP address\n$");
}
