# Prints n IPv4 flows (awk -v n=N -f flow_lines.awk) as JSON lines like those
# of TrafficStat::to_str_json, every field varying, for vorn-detail write.
BEGIN {
    for (i = 0; i < n; i++) {
        a = i % 250 + 1; b = int(i / 250) % 250 + 1
        printf "{\"account_id\":%d,\"d_addr\":\"192.0.%d.%d\",\"d_oct\":%d,\"d_pkt\":%d,\"dport\":%d,", 1000 + i % 97, b, a, 40 + (i % 1500) * 37, 1 + i % 100, 1 + i % 1024
        printf "\"dst_as\":%d,\"dst_mask\":24,\"iface\":%d,\"ip\":\"10.%d.%d.1\",\"nexthop_addr\":\"10.0.0.254\",", 64500 + i % 20, 1 + i % 8, b, a
        printf "\"oface\":%d,\"proto\":%d,\"router_ip_netflow_from\":\"10.0.0.1\",\"s_addr\":\"10.%d.%d.1\",", 1 + i % 6, (i % 3 == 0) ? 17 : 6, b, a
        printf "\"slink_id\":%d,\"sport\":%d,\"src_as\":%d,\"src_mask\":16,\"tclass\":1,\"tcp_flags\":%d,", 500 + i % 13, 1024 + i % 60000, 64496 + i % 10, i % 64
        printf "\"timestamp\":%d,\"tos\":0,\"ts_first\":%d,\"ts_last\":%d}\n", 1700000000 + int(i / 1000), 3600000 + i, 3600100 + i
    }
}
