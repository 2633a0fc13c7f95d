# table.awk: the table of bench/run, from the JSON of Google Benchmark: time, allocations, and the ratio to the limit of the
# same run with the aim beside it.
BEGIN {
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

# The report has one member a line: "key": value,
{
    if (!match($0, /"[^"]+": /)) next
    key = substr($0, RSTART + 1, RLENGTH - 4)
    value = substr($0, RSTART + RLENGTH)
    gsub(/[",]/, "", value)
}

key == "name" {
    sub(/\/iterations:1$/, "", value)
    name = names[++count] = value
}
!count { next }
key == "cpu_time" { time[name] = value + 0 }
key == "time_unit" { time[name] *= value == "ms" ? 1e6 : value == "us" ? 1e3 : 1 }
key == "allocs" { allocations[name] = value + 0 }
key ~ /^ns\// { each[name] = each[name] sprintf(" %.4g %s", value * 1, key) }
key ~ /^bytes/ || key == "blocks" { each[name] = each[name] sprintf(" %.4g %s", value, key) }

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
