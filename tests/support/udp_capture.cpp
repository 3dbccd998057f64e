// udp_capture ADDRESS PORT_FILE PCAP_FILE: receives datagrams on a port of
// ADDRESS (127.0.0.1 or ::1), named in PORT_FILE once bound, until 1.5 s pass
// without one (30 s before the first), and writes them as a pcap file of
// IPv4/UDP frames so that tshark can dissect them without capture rights.
#include <cstdio>
#include <fstream>

#include "udp_receiver.h"

int main(int argc, char** argv) {
    if (argc != 4) return std::fprintf(stderr, "usage: udp_capture ADDRESS PORT_FILE PCAP_FILE\n"), 2;
    StrellTest::UdpReceiver receiver(argv[1]);
    std::ofstream(std::string(argv[2]) + ".tmp") << receiver.port() << "\n";
    std::rename((std::string(argv[2]) + ".tmp").c_str(), argv[2]);  // never half a number
    std::vector<StrellTest::Datagram> datagrams;
    if (auto first = receiver.receive(std::chrono::seconds(30))) datagrams.push_back(*first);
    const auto rest = receiver.collect(std::chrono::milliseconds(1500), std::chrono::minutes(5));
    datagrams.insert(datagrams.end(), rest.begin(), rest.end());
    std::ofstream pcap(argv[3], std::ios::binary);
    const uint32_t header[6] = {0xa1b2c3d4, 0x00040002, 0, 0, 65535, 101};  // link type: raw IP
    pcap.write(reinterpret_cast<const char*>(header), sizeof header);
    for (const StrellTest::Datagram& datagram : datagrams) {
        const uint32_t size = static_cast<uint32_t>(datagram.size() + 28), record[4] = {0, 0, size, size};
        const uint16_t port = receiver.port();
        // IPv4 (checksum left 0, tshark does not check it) from and to 127.0.0.1, then UDP.
        const uint8_t frame[28] = {0x45, 0, uint8_t(size >> 8), uint8_t(size), 0, 0, 0x40, 0, 64, 17, 0, 0, 127, 0, 0,
                                   1, 127, 0, 0, 1, 0x30, 0x39, uint8_t(port >> 8), uint8_t(port),
                                   uint8_t((size - 20) >> 8), uint8_t(size - 20), 0, 0};
        pcap.write(reinterpret_cast<const char*>(record), sizeof record);
        pcap.write(reinterpret_cast<const char*>(frame), sizeof frame);
        pcap.write(reinterpret_cast<const char*>(datagram.data()), static_cast<long>(datagram.size()));
    }
    std::printf("%zu\n", datagrams.size());
}
