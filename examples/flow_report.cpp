// flow_report CONFIG DETAIL_FILE
//
// Prints, one JSON line each, the flows of a detail file whose source or
// destination is the host named in the configuration, and logs a summary
// through the logger set up from the same configuration. For example:
//
//   host = 192.0.2.10
//   log_file_main = /var/log/vorn/flow_report.log
//   log_level = 2
#include <cstdio>
#include <string>

#include <vorn/config/logger_setup_from_config.h>
#include <vorn/config/vorn_config.h>
#include <vorn/log/log_stream.h>
#include <vorn/net/ip_address.h>
#include <vorn/stat/detailed_info_file_parser.h>
#include <vorn/stat/filter.h>

namespace {

// Takes every file, and the records to or from one address.
class HostFilter : public Vorn::AcceptAllFilter {
public:
    explicit HostFilter(const Vorn::IP_address& host) : host_(host) {}
    bool check_record(const Vorn::TrafficStat& record) override {
        return record.s_addr == host_ || record.d_addr == host_;
    }

private:
    Vorn::IP_address host_;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: flow_report CONFIG DETAIL_FILE\n");
        return 2;
    }
    const std::string config_file = argv[1];
    // The configuration also owns the process's pid file, removed when it goes.
    Vorn::VornConfig config("flow_report", config_file + ".pid");
    if (config.import(config_file) != 0) {
        std::fprintf(stderr, "flow_report: cannot read %s\n", config_file.c_str());
        return 1;
    }
    Vorn::init_logger(&config);  // throws FileAppenderError when a log file cannot be opened
    config.pid_create();
    const Vorn::LogStream log("flow_report");

    std::string host_text;
    config.get("host", host_text);
    Vorn::IP_address host;
    try {
        host = Vorn::IP_address::from_string(host_text);
    } catch (const Vorn::Exception& error) {
        std::fprintf(stderr, "flow_report: host: %s\n", error.what());
        return 1;
    }

    // The reader reports problems on the log and by its return codes.
    HostFilter filter(host);
    Vorn::DetailedInfoFileParser parser;
    parser.init(nullptr, &filter);
    using Parser = Vorn::DetailedInfoFileParser;
    if (parser.probe(argv[2]) == Parser::probe_failed) {
        std::fprintf(stderr, "flow_report: %s is not a readable detail file\n", argv[2]);
        return 1;
    }
    Vorn::TrafficStat record;
    unsigned long flows = 0;
    unsigned long long bytes = 0;
    for (int read; (read = parser.parse_record(record)) != Parser::no_record;) {
        if (read == Parser::record_refused) continue;
        std::printf("%s\n", record.to_str_json().c_str());
        ++flows;
        bytes += record.d_oct;
    }
    log(Vorn::Logger::Notice) << flows << " flows to or from " << host.to_string() << ", " << bytes << " bytes";
    return 0;
}
