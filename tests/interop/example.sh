# Sourced after lib.sh: builds examples/ against the Vorn library installed
# under a prefix, with CMake's find_package(Vorn) and with pkg-config, and runs
# both on a detail file that the installed vorn-detail writes.
build_and_run_example() {
    local prefix=$1 source=$2 out=$WORK/example
    local flags="-Wall -Wextra -Wpedantic -Werror" version
    version=$(sed -n 's/^project(strell VERSION \([0-9.]*\).*/\1/p' "$source/CMakeLists.txt")
    rm -rf "$out" && mkdir -p "$out/pkg-config"

    cmake -S "$source/examples" -B "$out/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_FLAGS="$flags" \
        >"$out/cmake.log" 2>&1 || fail "cmake: $(tail -20 "$out/cmake.log")"
    grep -q "^-- Vorn $version from $prefix/lib/" "$out/cmake.log" || fail "find_package(Vorn): $(cat "$out/cmake.log")"
    cmake --build "$out/cmake" >>"$out/cmake.log" 2>&1 || fail "cmake --build: $(tail -20 "$out/cmake.log")"

    local pc libdir
    pc=$(find "$prefix" -name vorn.pc)
    libdir=$(PKG_CONFIG_PATH=${pc%/*} pkg-config --variable=libdir vorn)
    # shellcheck disable=SC2046,SC2086
    c++ -std=c++17 $flags "$source/examples/flow_report.cpp" -o "$out/pkg-config/flow_report" \
        $(PKG_CONFIG_PATH=${pc%/*} pkg-config --cflags --libs vorn) -Wl,-rpath,"$libdir" ||
        fail "the example does not build with pkg-config's flags"

    "$prefix/bin/vorn-detail" write --format new "$out/flows.vorn" <"$source/tools/samples/sample.jsonl" 2>/dev/null
    local expected flows bytes
    expected=$("$prefix/bin/vorn-detail" dump "$out/flows.vorn" 2>/dev/null | grep -E '"[sd]_addr":"192\.0\.2\.10"')
    flows=$(wc -l <<<"$expected")
    bytes=$(grep -o '"d_oct":[0-9]*' <<<"$expected" | awk -F: '{ n += $2 } END { print n }')
    [ "$flows" -gt 0 ] || fail "no flow of 192.0.2.10 in the sample"

    local build program
    for build in cmake pkg-config; do
        program=$out/$build/flow_report
        expect_eq "where the example built with $build finds libvorn_stat" "$(realpath "$libdir")" \
            "$(ldd "$program" | awk '/libvorn_stat.so.1 =>/ { print $3 }' | xargs dirname | xargs realpath)"
        printf 'host = 192.0.2.10\nlog_file_main = %s\nlog_level = 2\n' "$out/$build.log" >"$out/$build.conf"
        expect_eq "flows printed by the example built with $build" "$expected" "$("$program" "$out/$build.conf" "$out/flows.vorn")"
        grep -q "flow_report: $flows flows to or from 192.0.2.10, $bytes bytes$" "$out/$build.log" ||
            fail "$build: no summary in the log: $(cat "$out/$build.log")"
        [ ! -e "$out/$build.conf.pid" ] || fail "$build: the pid file stayed"
    done
}
