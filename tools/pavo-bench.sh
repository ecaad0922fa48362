# Sourced by tools/pavo-dev for its bench command: one run of every benchmark, a table of
# each comparison with the time and the instruction count of both sides, and that table
# written into docs/performance.md.

# Callgrind counts the instructions where the CPU has no counter to read (a VM without PMU).
bench_packages=(valgrind)
# A tuned allocator keeps large blocks instead of mapping them anew each time.
tuned=glibc.malloc.mmap_threshold=67108864:glibc.malloc.trim_threshold=134217728
walk=(--benchmark_filter=ReadEveryAttribute)
parse=(--benchmark_filter=ItemListPage)
# Document shapes at the two ends of the size range only: time per byte must stay flat.
shapes=(--benchmark_filter='BM_Shape/.*/(65536|8388608)$')

# One run of every benchmark, repeated and interleaved; the medians go into one table:
# what, ours, the peer, the ratio peer/ours (above 1: ours is faster), the same for the
# instructions, the goal and the verdict.
run_bench() {
    local dir=$root/build-bench out started=$SECONDS
    local log=$dir/pavo-dev-build.log
    mkdir -p "$dir"
    echo "pavo-dev: building Release in $dir"
    if ! { cmake -S "$root" -B "$dir" -DCMAKE_BUILD_TYPE=Release -DPAVO_BUILD_BENCH=ON \
                 -DPAVO_BUILD_TESTS=OFF -DPAVO_SANITIZE= &&
           cmake --build "$dir" -j "$(nproc)" \
                 --target markup_bench parse_bench wire_bench pavo-terminal; } > "$log" 2>&1; then
        cat "$log" >&2
        echo "pavo-dev: build failed" >&2
        exit 1
    fi
    out=$(mktemp -d)
    local common=(--benchmark_repetitions=5 --benchmark_enable_random_interleaving=true
                  --benchmark_report_aggregates_only=true --benchmark_out_format=csv)
    echo "pavo-dev: measuring (a few minutes)"
    nice -n 10 "$dir/bench/markup_bench" "${walk[@]}" "${common[@]}" \
        --benchmark_out="$out/markup.csv" > /dev/null 2>&1
    GLIBC_TUNABLES=$tuned nice -n 10 "$dir/bench/markup_bench" "${walk[@]}" "${common[@]}" \
        --benchmark_out="$out/markup-tuned.csv" > /dev/null 2>&1
    nice -n 10 "$dir/bench/markup_bench" "${shapes[@]}" "${common[@]}" --benchmark_repetitions=3 \
        --benchmark_out="$out/shapes.csv" > /dev/null 2>&1
    GLIBC_TUNABLES=$tuned nice -n 10 "$dir/bench/markup_bench" "${shapes[@]}" "${common[@]}" \
        --benchmark_repetitions=3 --benchmark_out="$out/shapes-tuned.csv" > /dev/null 2>&1
    nice -n 10 "$dir/bench/parse_bench" "${parse[@]}" "${common[@]}" \
        --benchmark_out="$out/parse.csv" > /dev/null 2>&1
    GLIBC_TUNABLES=$tuned nice -n 10 "$dir/bench/parse_bench" "${parse[@]}" "${common[@]}" \
        --benchmark_out="$out/parse-tuned.csv" > /dev/null 2>&1
    # Requests and sessions apart: a CSV takes its columns from its first run, and only the
    # request pairs have counters.
    local part
    for part in Beside:wire ExampleSession:session; do
        if ! nice -n 10 "$dir/bench/wire_bench" --benchmark_filter="${part%%:*}" "${common[@]}" \
               --benchmark_out="$out/${part##*:}.csv" > "$out/${part##*:}.log" 2>&1; then
            tail -n 20 "$out/${part##*:}.log" >&2
            echo "pavo-dev: wire_bench failed" >&2
        fi
    done
    # The load while timing, not after counting, goes under the table.
    echo "machine: $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg), $(date -u '+%Y-%m-%d %H:%M UTC')" \
        > "$out/machine"
    echo "pavo-dev: timed in $((SECONDS - started)) s; counting instructions"
    count_instructions "$out" "$dir"
    echo "pavo-dev: done in $((SECONDS - started)) s"
    bench_table "$out" | tee "$out/table"
    bench_page "$out/table"
    rm -rf "$out"
}

# count_instructions OUT BUILD: the instructions of each row's sides into OUT/*.counts, from
# the CPU's counter in the CSVs, else from callgrind runs.
count_instructions() {
    local out=$1 dir=$2 name counted=0
    for name in markup markup-tuned shapes shapes-tuned parse parse-tuned wire; do
        csv_counts "$out/$name.csv" > "$out/$name.counts"
        [ -s "$out/$name.counts" ] && counted=1
    done
    if [ "$counted" = 0 ]; then
        # No CPU counter: each measured side again under callgrind, a few iterations.
        if ! command -v valgrind > /dev/null; then
            echo "pavo-dev: no CPU counter and no valgrind: instructions not counted" >&2
        else
            callgrind_counts "$out/markup.counts" "" "$dir/bench/markup_bench" "${walk[@]}"
            callgrind_counts "$out/markup-tuned.counts" "$tuned" "$dir/bench/markup_bench" "${walk[@]}"
            # The small documents a few times, so that the median passes over the first, cold one.
            callgrind_counts "$out/shapes.counts" "" "$dir/bench/markup_bench" "${shapes[@]}" \
                --benchmark_min_time=0.5
            callgrind_counts "$out/shapes-tuned.counts" "$tuned" "$dir/bench/markup_bench" \
                "${shapes[@]}" --benchmark_min_time=0.5
            callgrind_counts "$out/parse.counts" "" "$dir/bench/parse_bench" "${parse[@]}"
            callgrind_counts "$out/parse-tuned.counts" "$tuned" "$dir/bench/parse_bench" "${parse[@]}"
            # Enough requests per pair that the median passes over the first, new connection.
            callgrind_counts "$out/wire.counts" "" "$dir/bench/wire_bench" \
                --benchmark_filter=Beside --benchmark_min_time=2
        fi
    fi
    session_counts "$dir" "$counted" > "$out/session.counts"
}

# csv_counts FILE: the instructions that the CPU's counter gave, per label (name<TAB>count):
# a benchmark's median "instructions" or "instr/B", or its "ours_instr" and "peer_instr" as
# "<name> ours" and "<name> peer". Nothing when the machine has no counter.
csv_counts() {
    [ -f "$1" ] || return 0
    awk -F, '
        $1 == "name" { for (i = 1; i <= NF; ++i) column[$i] = i; next }
        $1 ~ /_median"$/ {
            name = substr($1, 2, length($1) - 9)
            if (column["\"instructions\""] && $column["\"instructions\""] != "")
                print name "\t" $column["\"instructions\""]
            if (column["\"instr/B\""] && $column["\"instr/B\""] != "")
                print name "\t" $column["\"instr/B\""]
            if (column["\"ours_instr\""] && $column["\"ours_instr\""] != "")
                print name " ours\t" $column["\"ours_instr\""] "\n" name " peer\t" \
                      $column["\"peer_instr\""]
        }' "$1"
}

# callgrind_counts COUNTS TUNABLES PROGRAM ARGS...: the program under callgrind, its set-up
# uninstrumented (bench/instruction_count.h dumps each measured side under its label); the
# median per label goes into COUNTS, per byte for the document shapes.
callgrind_counts() {
    local counts=$1 tunables=$2 program=$3 cg
    shift 3
    cg=$(mktemp)
    # One run of few iterations; the arguments given come last and win.
    if ! GLIBC_TUNABLES=$tunables nice -n 10 valgrind --tool=callgrind --instr-atstart=no \
           --combine-dumps=yes --callgrind-out-file="$cg" "$program" --benchmark_repetitions=1 \
           --benchmark_min_time=0.01 "$@" > "$cg.log" 2>&1; then
        tail -n 20 "$cg.log" >&2
        echo "pavo-dev: callgrind run of ${program##*/} failed" >&2
    fi
    awk '
        /^desc: Trigger: Client Request: / { label = substr($0, 32); next }
        /^totals: / && label != "" {
            value = $2
            # A shape label ends in its document size.
            if (label ~ /^BM_Shape\//) { split(label, word, " "); value /= word[2]; label = word[1] }
            n = ++count[label]; seen[label, n] = value; label = ""
        }
        END {
            for (label in count) {
                n = count[label]
                for (i = 2; i <= n; ++i)
                    for (j = i; j > 1 && seen[label, j - 1] > seen[label, j]; --j) {
                        swap = seen[label, j]; seen[label, j] = seen[label, j - 1]
                        seen[label, j - 1] = swap
                    }
                half = int((n + 1) / 2)
                median = n % 2 ? seen[label, half] : (seen[label, half] + seen[label, half + 1]) / 2
                printf "%s\t%.4f\n", label, median
            }
        }' "$cg" > "$counts"
    rm -f "$cg" "$cg.log"
}

# session_counts BUILD COUNTED: the instructions of one whole example session (a process of
# its own) with keepalive 1 and 0, against the simulator whose new connections wait 20 ms;
# perf stat where the CPU counted (COUNTED 1), else callgrind.
session_counts() {
    local dir=$1 counted=$2 work sim_pid address keepalive count
    work=$(mktemp -d)
    "$dir/tools/pavo-platform-sim/pavo-platform-sim" --port 0 --data "$root/tools/simdata" \
        --connect-delay 20 > "$work/sim.out" 2> /dev/null &
    sim_pid=$!
    for _ in $(seq 1 100); do
        address=$(head -n 1 "$work/sim.out" 2>/dev/null || true)
        [ -n "$address" ] && break
        sleep 0.1
    done
    for keepalive in 1 0; do
        [ -n "$address" ] || break
        printf '[system]\nlogmode=2\nlogdirectory=%s\nkeepalive=%s\n' "$work" "$keepalive" \
            > "$work/korix.conf"
        local session=("$dir/examples/pavo-terminal" --platform "$address" --workdir "$work")
        count=
        if [ "$counted" = 1 ] && command -v perf > /dev/null; then
            count=$(perf stat -x, -e instructions:u -- "${session[@]}" 2>&1 > /dev/null |
                    awk -F, '$3 ~ /^instructions/ { print $1 }')
        elif command -v valgrind > /dev/null; then
            valgrind --tool=callgrind --callgrind-out-file="$work/cg" "${session[@]}" \
                > /dev/null 2>&1 &&
                count=$(awk '/^totals: / { print $2 }' "$work/cg")
        fi
        [ -n "$count" ] &&
            printf 'BM_ExampleSession/keepalive:%s/iterations:4/real_time\t%s\n' "$keepalive" "$count"
    done
    kill "$sim_pid" 2>/dev/null
    wait "$sim_pid" 2>/dev/null
    rm -rf "$work"
}

# The table of run_bench's results in OUT.
bench_table() {
    local out=$1
    # count FILE LABEL: instructions of LABEL, empty when not counted.
    count() { [ -f "$out/$1" ] && awk -F'\t' -v label="$2" '$1 == label { print $2 }' "$out/$1"; }
    # line WHAT OURS PEER UNIT RATIO OURS_INSTR PEER_INSTR GOAL [time]: RATIO empty is
    # PEER/OURS. The goal is judged on time and, where both sides were counted, on the
    # instruction ratio too, unless "time" says the row's goal is about waiting, which no
    # count sees.
    line() {
        awk -v what="$1" -v o="$2" -v p="$3" -v unit="$4" -v t="$5" -v oi="$6" -v pi="$7" \
            -v goal="$8" -v by="${9:-}" '
            function human(n) {
                if (n == "") return "-"
                if (n >= 1e6) return sprintf("%.2fM", n / 1e6)
                return n >= 1e3 ? sprintf("%.1fk", n / 1e3) : sprintf("%.1f", n)
            }
            BEGIN {
                if (o == "" || p == "") { printf "%-48s (no result)\n", what; exit }
                if (t == "") t = p / o
                i = (oi != "" && pi != "" && oi > 0) ? sprintf("%.2f", pi / oi) : "-"
                verdict = "time " (t >= goal ? "met" : "NOT met")
                if (i != "-" && by != "time")
                    verdict = verdict ", instr " (i + 0 >= goal ? "met" : "NOT met")
                printf "%-48s %8.3f %-4s %8.3f %-4s %5.2f %8s %8s %5s  >= %.2f %s\n",
                       what, o, unit, p, unit, t, human(oi), human(pi), i, goal, verdict
            }'
    }
    # row FILE OURS PEER COLUMN(3 wall, 4 cpu) WHAT GOAL [time]: two benchmarks of one CSV.
    row() {
        local times
        times=$(awk -F, -v ours="\"$2_median\"" -v peer="\"$3_median\"" -v col="$4" '
            $1 == ours { o = $col; unit = $5 } $1 == peer { p = $col }
            END {
                scale = unit == "ns" ? 1e-6 : unit == "us" ? 1e-3 : 1
                if (o != "" && p != "") printf "%f %f", o * scale, p * scale
            }' "$out/$1")
        line "$5" "${times% *}" "${times#* }" ms "" "$(count "${1%.csv}.counts" "$2")" \
            "$(count "${1%.csv}.counts" "$3")" "$6" "${7:-}"
    }
    # paired NAME WHAT GOAL: both sides timed in turns in one benchmark; the time ratio is
    # the median of the runs' own ratios.
    paired() {
        local times ours peer ratio
        times=$(awk -F, -v name="\"$1_median\"" '
            $1 == "name" { for (i = 1; i <= NF; ++i) column[$i] = i }
            $1 == name { o = $column["\"ours_us\""]; p = $column["\"peer_us\""]
                         r = $column["\"ratio\""] }
            END { if (o != "" && p != "") printf "%f %f %f", o / 1000, p / 1000, r }' \
            "$out/wire.csv")
        read -r ours peer ratio <<< "$times"
        line "$2" "${ours:-}" "${peer:-}" ms "${ratio:-}" "$(count wire.counts "$1 ours")" \
            "$(count wire.counts "$1 peer")" "$3"
    }
    # flat FILE ALLOCATOR: per shape, time per byte at 64 KiB against 8 MiB (1: flat).
    flat() {
        local shape small large
        awk -F, '
            $1 == "name" { for (i = 1; i <= NF; ++i) column[$i] = i; next }
            $1 ~ /_median"$/ && $1 ~ /BM_Shape/ {
                split($1, part, "/"); v = $column["\"s/B\""] * 1e9
                if (part[3] ~ /^65536/) small[part[2]] = v; else large[part[2]] = v
            }
            END { for (s in small) print s, small[s], (s in large) ? large[s] : "" }' \
            "$out/$1" | sort |
        while read -r shape small large; do
            line "shape $shape, $2: 8 MiB / 64 KiB" "$large" "$small" ns/B "" \
                "$(count "${1%.csv}.counts" "BM_Shape/$shape/8388608")" \
                "$(count "${1%.csv}.counts" "BM_Shape/$shape/65536")" 0.50
        done
    }
    printf '%-48s %13s %13s %5s %8s %8s %5s  %s\n' "what (ours against the peer)" ours peer \
        ratio "ours ins" "peer ins" ratio goal
    row markup.csv BM_NavigatorReadEveryAttribute BM_PugixmlReadEveryAttribute 4 \
        "navigator walk / pugixml, glibc default" 1.00
    row markup-tuned.csv BM_NavigatorReadEveryAttribute BM_PugixmlReadEveryAttribute 4 \
        "navigator walk / pugixml, tuned allocator" 1.00
    row parse.csv BM_ParseItemListPage/200 BM_PugixmlItemListPage/200 4 \
        "pavo_parse 200 items / pugixml reader, default" 1.00
    row parse-tuned.csv BM_ParseItemListPage/200 BM_PugixmlItemListPage/200 4 \
        "pavo_parse 200 items / pugixml reader, tuned" 1.00
    paired BM_CategoryRequestBesideRawPost/keepalive:0/peer_parses:0/real_time \
        "request keepalive=0 / raw curl fresh handle" 0.95
    paired BM_CategoryRequestBesideRawPost/keepalive:1/peer_parses:0/real_time \
        "request keepalive=1 / raw curl reused handle" 0.95
    paired BM_CategoryRequestBesideRawPost/keepalive:0/peer_parses:1/real_time \
        "  same work: fresh handle + pugixml records" 0.95
    paired BM_CategoryRequestBesideRawPost/keepalive:1/peer_parses:1/real_time \
        "  same work: reused handle + pugixml records" 0.95
    # The session's goal is the 20 ms connection waits that keepalive saves: time decides.
    row session.csv BM_ExampleSession/keepalive:1/iterations:4/real_time \
        BM_ExampleSession/keepalive:0/iterations:4/real_time 3 \
        "example session, 20 ms connect: keepalive 1 / 0" 1.80 time
    flat shapes.csv default
    flat shapes-tuned.csv tuned
    cat "$out/machine" 2>/dev/null || true
    echo "medians of 5 interleaved runs; cpu time for parsing, wall time for requests and sessions;"
    echo "requests: library and raw POST in turns, simulator and benchmark on CPUs of their own;"
    echo "instructions (ins): user space, per iteration, $(instruction_source "$out")"
}

# Where the counts came from, for the table's foot.
instruction_source() {
    if [ -s "$1/markup.counts" ] && grep -q . <(csv_counts "$1/markup.csv"); then
        echo "the CPU's counter (perf_event_open)"
    elif [ -s "$1/markup.counts" ]; then
        echo "callgrind (no CPU counter here)"
    else
        echo "not counted"
    fi
}

# The latest table is kept in docs/performance.md, between its bench-table markers, indented
# as a code block; the page's own text is left as it is.
bench_page() {
    local page=$root/docs/performance.md
    if ! grep -qx '<!-- bench-table -->' "$page" || ! grep -qx '<!-- /bench-table -->' "$page"; then
        echo "pavo-dev: no bench-table markers in $page, page left alone" >&2
        return 0
    fi
    awk -v table="$1" '
        $0 == "<!-- bench-table -->" { print; while ((getline line < table) > 0) print "    " line
                                       skip = 1; next }
        $0 == "<!-- /bench-table -->" { skip = 0 }
        !skip' "$page" > "$page.new" && mv "$page.new" "$page"
    echo "pavo-dev: table written to docs/performance.md"
}
