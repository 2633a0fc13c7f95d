# table.awk: the table of bench/run, from the CSV of Google Benchmark: time, allocations, and the ratio to the limit of the
# same run with the aim beside it.
BEGIN {
    FS = ","
    # workload, its limit, aim: the time of the first is at most so many times that of the second
    aim("tree/changed/wide/10000", "tree/floor/wide/10000", 4)
    aim("tree/changed/deep/10000", "tree/floor/deep/10000", 4)
    aim("frame/sorted/10000", "frame/opaque/10000", 1.3)
    aim("math/mul", "math/mul/vectors", 1.2)
    aim("math/point", "math/point/vectors", 1.2)
    aim("math/inverse", "math/inverse/vectors", 1.2)
    aim("math/sincos", "math/sincos/library", 0.5)
    aim("scale/down/bilinear", "scale/down/bilinear/pixman", 1)
    aim("scale/down/nearest", "scale/down/nearest/pixman", 1)
    aim("scale/up/bilinear", "scale/up/bilinear/pixman", 1)
    aim("scale/up/nearest", "scale/up/nearest/pixman", 1)
    aim("script/materials", "script/parse", 1.5)
    aim("text/to-wide/whole", "text/iconv/whole", 0.5)
    aim("text/to-wide/pieces", "text/iconv/pieces", 0.5)
    aim("text/to-narrow/whole", "text/iconv/narrow/whole", 0.5)
    aim("text/to-narrow/pieces", "text/iconv/narrow/pieces", 0.5)
    aim("text/ascii", "text/memcpy", 4)
    aim("clock/advance", "clock/advance/queue", 1)
    aim("filter/switch", "filter/compares", 3)
}

function aim(workload, limit, ratio) { limitOf[workload] = limit; aimOf[workload] = ratio }

function column(name) { return name in place ? $(place[name]) : "" }

$1 == "name" { for (i = 1; i <= NF; ++i) { gsub(/"/, "", $i); place[$i] = i } next }

place["real_time"] {
    gsub(/"/, "", $1)
    sub(/\/iterations:1$/, "", $1)
    names[++count] = $1
    unit = column("time_unit")
    time[$1] = column("real_time") * (unit == "ms" ? 1e6 : unit == "us" ? 1e3 : 1)
    allocations[$1] = column("allocs")
    each[$1] = ""
    split("ns/node ns/entity ns/particle bytes blocks", counters, " ")
    for (i = 1; i in counters; ++i) {
        value = column(counters[i])
        if (value == "") continue
        if (counters[i] ~ /^ns/) value *= 1e9
        each[$1] = each[$1] sprintf(" %.4g %s", value, counters[i])
    }
}

END {
    printf "%-32s %14s %10s  %s\n", "workload", "time, ns", "allocs", "beside its limit"
    for (n = 1; n <= count; ++n) {
        name = names[n]
        ratio = ""
        if (name in limitOf && limitOf[name] in time) {
            r = time[name] / time[limitOf[name]]
            ratio = sprintf("%.2f of %s, aim %s%s", r, limitOf[name], aimOf[name], r > aimOf[name] ? "  MISSED" : "")
        }
        printf "%-32s %14.0f %10s  %s%s\n", name, time[name], allocations[name], ratio, each[name]
    }
}
