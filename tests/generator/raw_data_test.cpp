#include "generator/raw_data.h"

#include <gtest/gtest.h>

#include <vector>

#include "v5_datagram.h"

namespace Strell {
namespace {

using StrellTest::hex;

std::vector<uint8_t> bytes_of(const RawData& out) { return {out.data(), out.data() + out.size()}; }

TEST(RawData, HtonReversesEveryWidth) {
    // The widths with a byte swap of their own and some that have none.
    for (size_t n : {0u, 1u, 2u, 3u, 4u, 5u, 8u, 12u, 16u, 17u, 40u}) {
        std::vector<unsigned char> source(n);
        for (size_t i = 0; i < n; ++i) source[i] = static_cast<unsigned char>(0x10 + i);
        std::vector<unsigned char> reversed(source.rbegin(), source.rend());
        std::vector<unsigned char> target(n + 1, 0xee);
        RawData::hton(source.data(), n, target.data());
        EXPECT_EQ(std::vector<unsigned char>(target.begin(), target.begin() + static_cast<long>(n)), reversed) << n;
        EXPECT_EQ(target[n], 0xee) << "wrote past " << n << " bytes";
    }
}

TEST(RawData, WriteAllEqualsOneWriteEach) {
    RawData one_by_one;
    one_by_one.write<unsigned short>(0x0102);
    one_by_one.write<unsigned char>(0x03);
    one_by_one.write<unsigned int>(0x04050607u);
    one_by_one.write<unsigned short>(0x0809);
    RawData together;
    together.write_all(static_cast<unsigned short>(0x0102), static_cast<unsigned char>(0x03), 0x04050607u,
                       static_cast<unsigned short>(0x0809));
    EXPECT_EQ(hex(bytes_of(together)), "01 02 03 04 05 06 07 08 09");
    EXPECT_EQ(bytes_of(together), bytes_of(one_by_one));
}

TEST(RawData, AppendCopiesBytesAsTheyAre) {
    RawData out;
    const unsigned char ready[3] = {0xaa, 0xbb, 0xcc};
    out.append(ready, sizeof ready);
    out.append(ready, 0);
    out.write(ready, 2);
    EXPECT_EQ(hex(bytes_of(out)), "aa bb cc bb aa");
}

}  // namespace
}  // namespace Strell
