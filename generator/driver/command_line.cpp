#include "generator/driver/command_line.h"

#include <unistd.h>

#include <cstdio>

#include "generator/driver/number_parsing.h"

namespace Strell {

using Vorn::IP_address;

namespace {

const char* const options = "v:P:h:p:c:f:s:t:d:b:z:x:a:n:m:i:o:j:k:l:I:N:u";

const char* const option_list =
    "\t[-h host]   \t\tTarget machine. Default is 127.0.0.1\n"
    "\t[-p port]   \t\tTarget port. Default is 9996\n"
    "\t[-c count]   \t\tNumber of records to send. Default is 0xffff\n"
    "\t[-v version]   \t\tNetflow protocol version. Netflow v5 and v9 supported\n"
    "\t[-f file]   \t\tGet data to send from file. Default is /dev/urandom. For netflow v5 only\n"
    "\t[-t usec]  \t\tSleep for usec milliseconds after each packet (or specified with -a packets)\n"
    "\t[-s ip]  \t\tSource IP-address in netflow packets(srcaddr field)\n"
    "\t[-d ip] \t\tDestination IP-address in netflow packets(dstaddr field)\n"
    "\t[-z src_port]  \t\tSource port in netflow packet\n"
    "\t[-x dst_port ] \t\tDestination port in netflow packet\n"
    "\t[-n src_as ] \t\tSource AS in netflow packet\n"
    "\t[-m dst_as ] \t\tDestination AS in netflow packet\n"
    "\t[-i input_if ] \t\tInput interface index\n"
    "\t[-o output_if ] \tOutput interface index\n"
    "\t[-b bytes ] \t\tBytes in dOctet field\n"
    "\t[-P packets ] \t\tPackets in dPacket field\n"
    "\t[-j tos ] \t\tType-of-Service\n"
    "\t[-k tcp_flags ] \tTCP Flags\n"
    "\t[-l proto ] \t\tIP protocol, e.g., 6=TCP, 17=UDP, ...\n"
    "\t[-N nexthop ] \t\tIP of next router\n"
    "\t[-u] \t\tUse Vorn detailed statistic file";

// Numbers are cut to the width of what they set: a port of 70000 is 4464.
template <typename T>
T number(int base = 10) {
    return static_cast<T>(read_number(optarg, base));
}

// The address options choose the IPv4 or the IPv6 field type by the family
// of what was given.
bool add_address(RunSettings& settings, unsigned short v4_type, unsigned short v6_type) {
    IP_address address;
    try {
        address = IP_address::from_string(optarg);
    } catch (const Vorn::Exception& e) {
        std::printf("%s\n", e.what());
        return false;
    }
    if (address.family() == IP_address::IPv6) {
        settings.flow_fields.add_field<IP_address>(v6_type, 16, address);
    } else {
        settings.flow_fields.add_field<IP_address>(v4_type, 4, address);
    }
    return true;
}

}  // namespace

void print_usage() {
    std::printf("Dexmar Vorn billing NetFlow v5 and v9 packet generator. Compile date: %s %s\n", __DATE__,
                __TIME__);
    std::printf("usage: %s\n", "strell");
    std::printf("%s\n", option_list);
}

bool parse_command_line(int argc, char* argv[], RunSettings& settings) {
    StrellRecord& fields = settings.flow_fields;
    int option = 0;
    while ((option = getopt(argc, argv, options)) != -1) {
        switch (option) {
            case 'h':
                settings.collector.address = IP_address::from_string(optarg);
                break;
            case 'p':
                settings.collector.port = number<uint16_t>();
                break;
            case 'c':
                settings.count = number<uint32_t>();
                break;
            case 'v':
                settings.version = number<uint16_t>();
                break;
            case 't':
                settings.send_delay = number<int32_t>();
                break;
            case 'f':
                settings.file_name = optarg;
                break;
            case 'u':
                settings.detail_file_mode = true;
                break;
            case 's':
                if (!add_address(settings, 8, 27)) return false;
                break;
            case 'd':
                if (!add_address(settings, 12, 28)) return false;
                break;
            case 'N':
                if (!add_address(settings, 15, 62)) return false;
                break;
            case 'z':
                fields.add_field<unsigned short>(7, number<unsigned short>());
                break;
            case 'x':
                fields.add_field<unsigned short>(11, number<unsigned short>());
                break;
            case 'i':
                fields.add_field<unsigned short>(10, 2, number<unsigned short>());
                break;
            case 'o':
                fields.add_field<unsigned short>(14, 2, number<unsigned short>());
                break;
            case 'b':
                fields.add_field<unsigned int>(1, 4, number<unsigned int>());
                break;
            case 'P':
                fields.add_field<unsigned int>(2, 4, number<unsigned int>());
                break;
            case 'n':
                fields.add_field<unsigned int>(16, 4, number<unsigned int>(0));
                break;
            case 'm':
                fields.add_field<unsigned int>(17, 4, number<unsigned int>(0));
                break;
            case 'j':
                fields.add_field<unsigned char>(5, number<unsigned char>());
                break;
            case 'k':
                fields.add_field<unsigned char>(6, number<unsigned char>());
                break;
            case 'l':
                fields.add_field<unsigned char>(4, number<unsigned char>());
                break;
            case 'a':
            case 'I':
                // Accepted for old command lines; no packet grouping exists.
                break;
            default:
                print_usage();
                return false;
        }
    }
    return true;
}

}  // namespace Strell
