// The values of a flow's StrellRecord, which strell itself sends from its wire bytes instead.
#include <gtest/gtest.h>

#include "generator/raw_data.h"
#include "generator/strell_record.h"
#include "netflow_wire.h"

TEST(StrellRecord, DataOfAFlowHoldsItsValuesInTemplateOrder) {
    Vorn::TrafficFlowRecord flow;
    flow.s_addr = flow.d_addr = Vorn::IP_address::from_string("2001:db8::1");
    flow.nexthop_addr = Vorn::IP_address::from_string("fe80::1");
    std::tie(flow.sport, flow.src_as, flow.proto) = std::tuple(1, 3, 11);
    const Strell::StrellRecord record(flow);
    Strell::RawData out;
    for (const Strell::DataField& field : record.data()) field.serialize(out);
    EXPECT_EQ(StrellTest::hex({out.data(), out.data() + out.size()}),
              "20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 20 01 0d b8 00 00 00 00 00 00 00 00 00 00 00 01 fe 80 00 00 "
              "00 00 00 00 00 00 00 00 00 00 00 01 00 01 00 00 00 00 00 03 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 0b");
}
