#pragma once

#include <cstddef>
#include <cstdint>

namespace Strell {

// The values every exported datagram is built from. Collectors see the
// sequence number stay at export_sequence for the whole run: it never
// advances, so they count sequence errors.
constexpr uint32_t export_sequence = 56;
constexpr uint32_t v9_source_id = 1234;
constexpr uint16_t template_flowset_id = 0;
constexpr uint16_t ipv4_template_id = 256;
constexpr uint16_t ipv6_template_id = 257;
// Flowset id and length, in front of every v9 flowset.
constexpr size_t flowset_header_length = 4;
constexpr size_t max_datagram_length = 1500;

}  // namespace Strell
