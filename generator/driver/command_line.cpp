#include "generator/driver/command_line.h"

#include <unistd.h>

#include <cstdio>

#include "generator/driver/number_parsing.h"
#include "vorn/stat/netflow_fields.h"

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

namespace NetflowType = Vorn::NetflowType;
using Vorn::TrafficMember;

// The options that add a flow field: a number read in the base given, or an
// address whose own family chooses between the IPv4 and the IPv6 type of
// its member.
struct NumberOption {
    char letter;
    NetflowType::Type type;
    int base;
};
constexpr NumberOption number_options[] = {
    {'z', NetflowType::L4_SRC_PORT, 10}, {'x', NetflowType::L4_DST_PORT, 10}, {'i', NetflowType::INPUT_SNMP, 10},
    {'o', NetflowType::OUTPUT_SNMP, 10}, {'b', NetflowType::IN_BYTES, 10},    {'P', NetflowType::IN_PKTS, 10},
    {'n', NetflowType::SRC_AS, 0},       {'m', NetflowType::DST_AS, 0},       {'j', NetflowType::SRC_TOS, 10},
    {'k', NetflowType::TCP_FLAGS, 10},   {'l', NetflowType::PROTOCOL, 10},
};

struct AddressOption {
    char letter;
    TrafficMember member;
};
constexpr AddressOption address_options[] = {
    {'s', TrafficMember::s_addr}, {'d', TrafficMember::d_addr}, {'N', TrafficMember::nexthop_addr}};

// Numbers are cut to the width of what they set: a port of 70000 is 4464.
template <typename T>
T number(int base = 10) {
    return static_cast<T>(read_number(optarg, base));
}

// At the width the catalogue gives the type.
void add_number(StrellRecord& fields, const NumberOption& option) {
    const uint8_t width = Vorn::netflow_field(option.type).width;
    if (width == 1)
        fields.add_field<unsigned char>(option.type, number<unsigned char>(option.base));
    else if (width == 2)
        fields.add_field<unsigned short>(option.type, width, number<unsigned short>(option.base));
    else
        fields.add_field<unsigned int>(option.type, width, number<unsigned int>(option.base));
}

bool add_address(StrellRecord& fields, TrafficMember member) {
    IP_address address;
    try {
        address = IP_address::from_string(optarg);
    } catch (const Vorn::Exception& e) {
        std::printf("%s\n", e.what());
        return false;
    }
    const bool v6 = address.family() == IP_address::IPv6;
    fields.add_field<IP_address>(Vorn::address_type(member, v6), v6 ? 16 : 4, address);
    return true;
}

enum class FieldOption { unknown, added, bad_address };

FieldOption add_flow_field(int option, StrellRecord& fields) {
    for (const NumberOption& o : number_options) {
        if (o.letter == option) return add_number(fields, o), FieldOption::added;
    }
    for (const AddressOption& o : address_options) {
        if (o.letter == option) return add_address(fields, o.member) ? FieldOption::added : FieldOption::bad_address;
    }
    return FieldOption::unknown;
}

}  // namespace

void print_usage() {
    std::printf("Dexmar Vorn billing NetFlow v5 and v9 packet generator. Compile date: %s %s\n", __DATE__,
                __TIME__);
    std::printf("usage: %s\n", "strell");
    std::printf("%s\n", option_list);
}

bool parse_command_line(int argc, char* argv[], RunSettings& settings) {
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
            case 'a':
            case 'I':
                // Accepted for old command lines; no packet grouping exists.
                break;
            default:
                switch (add_flow_field(option, settings.flow_fields)) {
                    case FieldOption::added:
                        break;
                    case FieldOption::bad_address:
                        return false;
                    case FieldOption::unknown:
                        print_usage();
                        return false;
                }
        }
    }
    return true;
}

}  // namespace Strell
