#include <new>
#include <ostream>

#include "tools/vorn_detail/capture_commands.h"
#include "tools/vorn_detail/detail_commands.h"
#include "tools/vorn_detail/failure.h"

namespace Vorn {

const char* const vorn_detail_usage =
    "Usage: vorn-detail dump FILE\n"
    "       vorn-detail write --format new|old OUT\n"
    "       vorn-detail import --format new|old OUT [CAPTURE...]\n"
    "       vorn-detail compare --sent-as v5|v9 [--ignore FIELD,...] FILE [CAPTURE...]\n"
    "       vorn-detail --help\n"
    "\n"
    "Reads and writes Vorn detailed statistics files (.vorn detail files).\n"
    "\n"
    "dump FILE\n"
    "  Prints every record of FILE, old or new format, as one line of JSON on\n"
    "  standard output (the rendering of a traffic record: 26 keys, sorted), and\n"
    "  the format and the number of records on standard error. A field that a\n"
    "  record lacks shows the previous record's value, as strell replays it.\n"
    "\n"
    "write --format new|old OUT\n"
    "  Reads such JSON lines on standard input and writes the detail file OUT,\n"
    "  which 'strell -u -f OUT' replays. Every key of the rendering is accepted;\n"
    "  human_timestamp and login are ignored (no format stores them), all others\n"
    "  are required: addresses as strings, timestamp as a signed 32-bit integer,\n"
    "  the rest as unsigned integers within their field's width. Blank lines are\n"
    "  skipped. On bad input (a key given twice included) the message names\n"
    "  the line and the exit status is 1. A closed standard input is refused\n"
    "  (exit status 1), not read as empty. Records that strell's replay cannot\n"
    "  send as they stand are written and named on standard error (the first\n"
    "  few and a count): v9 ends the replay at the first record whose\n"
    "  addresses mix families (\"Incorrect netflow data\", exit status 1), v5\n"
    "  skips each record with an IPv6 address without a word.\n"
    "\n"
    "  new  Carries every field. Each address is written by its own family:\n"
    "       IPv4 as fields 8, 12, 15, 102, 105 (4 bytes), IPv6 as 27, 28, 62,\n"
    "       150, 151 (16 bytes); AS numbers are 4 bytes (16, 17). Records whose\n"
    "       addresses are all IPv4 use data id 1, all IPv6 data id 32, mixed\n"
    "       ones the ids between. dump -> write -> dump gives the same lines.\n"
    "  old  Bare 76-byte records of IPv4 flows; an IPv6 s_addr, d_addr or\n"
    "       nexthop_addr is refused. Read back are s_addr, d_addr,\n"
    "       nexthop_addr, d_pkt, d_oct, sport, dport, tcp_flags, proto, tos,\n"
    "       slink_id, account_id, tclass and timestamp: for these\n"
    "       dump -> write -> dump gives the same values. iface, oface,\n"
    "       ts_first, ts_last, the masks and the AS numbers (cut to 16 bits)\n"
    "       are written but not read back (dump shows 0); ip and\n"
    "       router_ip_netflow_from are not stored.\n"
    "\n"
    "import --format new|old OUT [CAPTURE...]\n"
    "  Reads the flows of a capture, one at a time, and writes the detail file\n"
    "  OUT in the given format, as write does. Each CAPTURE is an nfcapd file,\n"
    "  what 'nfdump -o json' prints (one JSON array of flow objects), or a\n"
    "  directory whose nfcapd.* files are read in time order, as 'nfdump -R'\n"
    "  reads them; files are told apart by their first bytes. Several are read\n"
    "  one after the other; none or '-' is standard input. Both kinds give the\n"
    "  same file. Addresses, next hop, router, ports (ICMP type and code as the\n"
    "  destination port), protocol, TCP flags, type of service, packets, bytes,\n"
    "  interfaces, AS numbers, masks and the times (first, last, received:\n"
    "  local time to seconds since the epoch) are mapped; other members are\n"
    "  ignored. Records that are not flows are skipped; the events among them\n"
    "  (in JSON, objects whose \"type\" is not \"FLOW\") are counted. An IPv4\n"
    "  flow's next hop that nfcapd stored from strell's 4-byte v9 next-hop\n"
    "  field (10.0.0.254 as 0:0:a00:fe::) is taken back as IPv4. On bad input\n"
    "  (a member given twice, text after the array, a damaged nfcapd file) the\n"
    "  message names the input and the flow (its ordinal among the records) or\n"
    "  the block and record, the exit status is 1 and OUT is left as it was; a\n"
    "  directory without capture files or a closed standard input is refused.\n"
    "  An empty capture gives a detail file of no records. Records that a\n"
    "  replay cannot send are named as by write. While standard error is a\n"
    "  terminal, a line there counts the files, the flows and the flows a\n"
    "  second.\n"
    "\n"
    "compare --sent-as v5|v9 [--ignore FIELD,...] FILE [CAPTURE...]\n"
    "  Compares the flows that strell sends of the detail file FILE with what a\n"
    "  collector stored (its capture, read as import reads it), in the fields\n"
    "  that the version carries: v9 addresses, next hop, ports, protocol,\n"
    "  flags, type of service, packets, bytes, interfaces and AS numbers; v5\n"
    "  also the masks, AS numbers cut to 16 bits, and no flows with an IPv6\n"
    "  address. Times are not compared. Flows are matched by their fields, not\n"
    "  by order. The report: a \"note:\" line on the first record of FILE that\n"
    "  the replay cannot send as it stands, if any; for each sent flow not\n"
    "  stored as sent, in FILE's order, a \"missing\" line, or a \"differs\"\n"
    "  line when a stored flow not sent has the same addresses, ports and\n"
    "  protocol (of the first 64 such, the one that differs in the fewest\n"
    "  fields); an \"extra\" line for each other stored flow not sent, in the\n"
    "  capture's order; then \"equal: N flows\" or \"not equal: ...\" with the\n"
    "  counts. FILE is read four times; its flows\n"
    "  are held as 64-bit fingerprints with a count, about 18 bytes a flow;\n"
    "  extra flows, and the missing ones that may pair with them, wait in an\n"
    "  unnamed temporary file in $TMPDIR (80 bytes a flow).\n"
    "\n"
    "OUT, for write and import:\n"
    "  -                   standard output, written as a stream.\n"
    "  a regular file or   written under a temporary name beside it, which\n"
    "  a new name          replaces it only when all is written: on bad input,\n"
    "                      an error or SIGINT, SIGTERM or SIGHUP it stays as it\n"
    "                      was and the temporary file is removed. A replaced\n"
    "                      file keeps its permissions.\n"
    "  a symbolic link     followed; its final target is written as above (the\n"
    "                      link stays a link; a dangling one gets its target).\n"
    "  a FIFO or a         opened and written as a stream (a FIFO waits for a\n"
    "  character device    reader); what went out before an error stays out.\n"
    "  anything else       (a directory, a block device, a socket) is refused\n"
    "                      with exit status 1.\n"
    "\n"
    "FILE, for dump and compare, must be seekable (the reader probes the\n"
    "format and the last record): a FIFO is refused at once rather than\n"
    "waited on. CAPTURE is a file, a directory or, absent or '-', standard\n"
    "input.\n"
    "\n"
    "Every failure is one line on standard error naming the input or the\n"
    "output at fault, and leaves no file behind.\n"
    "\n"
    "Exit status: 0 success (compare: equal), 1 bad input or a file error,\n"
    "2 usage error, 3 compare found differences; a write or import ended by\n"
    "a signal ends as the signal does (e.g. 130 for SIGINT).\n";

DetailFormat detail_format(const std::string& name) {
    if (name != "new" && name != "old") throw Failure("unknown format '" + name + "' (new or old)", exit_usage);
    return name == "new" ? DetailFormat::New : DetailFormat::Old;
}

namespace {

int run_command(const std::vector<std::string>& args, std::istream& in, std::ostream& out, std::ostream& err) {
    if (args.size() == 1 && (args[0] == "--help" || args[0] == "-h")) {
        out << vorn_detail_usage;
        return exit_ok;
    }
    if (args.size() == 2 && args[0] == "dump") {
        dump_detail_file(args[1], out, err);
        return exit_ok;
    }
    if (args.size() == 4 && args[0] == "write" && args[1] == "--format") {
        write_detail_file(detail_format(args[2]), args[3], in, err);
        return exit_ok;
    }
    const bool capture_command = !args.empty() && (args[0] == "import" || args[0] == "compare");
    if (!capture_command) {
        err << vorn_detail_usage;
        return exit_usage;
    }
    const std::vector<std::string> rest(args.begin() + 1, args.end());
    return args[0] == "import" ? import_command(rest, in, err) : compare_command(rest, in, out, err);
}

}  // namespace

int run_vorn_detail(const std::vector<std::string>& args, std::istream& in, std::ostream& out, std::ostream& err) {
    try {
        return run_command(args, in, out, err);
    } catch (const Failure& failure) {
        err << failure.what() << "\n";
        return failure.status();
    } catch (const std::bad_alloc&) {
        err << "vorn-detail: out of memory\n";
    } catch (const std::exception& unexpected) {
        err << "vorn-detail: " << unexpected.what() << "\n";
    }
    return exit_failure;
}

}  // namespace Vorn
