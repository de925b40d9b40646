# Makes a table from the lines of the benchmarks: operation, peer, zone, aim (0 for none) and ratio. Shows the median of
# each ratio, and its quartiles.
BEGIN {
    FS = "\t"
    zones = split("UTC,New York,CET rule,TZ unset", zone, ",")
}

{
    row = $1 FS $2
    if (!(row in known))
        rows[++row_count] = row
    known[row]
    aim[row, $3] = $4
    ratios[row, $3] = ratios[row, $3] " " $5
}

function sort(values, count,    i, j, value) {
    for (i = 2; i <= count; ++i) {
        value = values[i]
        for (j = i - 1; j >= 1 && values[j] + 0 > value + 0; --j)
            values[j + 1] = values[j]
        values[j + 1] = value
    }
}

function quantile(values, count, fraction) {
    return values[int(fraction * (count - 1) + 1.5)] + 0
}

function print_row(operation, beside, cells, aims, met) {
    printf "| %-41s | %-37s %s| %-19s | %-3s |\n", operation, beside, cells, aims, met
}

END {
    for (z = 1; z <= zones; ++z)
        cells = cells sprintf("| %-16s ", zone[z])
    print_row("operation", "beside", cells, "aim", "met")
    print "|---|---|---|---|---|---|---|---|"
    for (r = 1; r <= row_count; ++r) {
        row = rows[r]
        cells = aims = met = ""
        same = 1
        for (z = 1; z <= zones; ++z) {
            cell = ""
            count = split(ratios[row, zone[z]], values, " ")
            if (count > 0) {
                sort(values, count)
                median = quantile(values, count, 0.5)
                cell = sprintf("%.2f (%.2f-%.2f)", median, quantile(values, count, 0.25), quantile(values, count, 0.75))
                limit = aim[row, zone[z]] + 0
                if (limit > 0)
                    met = met == "NO" || median > limit ? "NO" : "yes"
                same = same && limit == aim[row, zone[1]] + 0
                aims = aims (limit > 0 ? sprintf("%.2f ", limit) : "- ")
            }
            cells = cells sprintf("| %-16s ", cell)
        }
        split(row, names, FS)
        print_row(names[1], names[2], cells, met == "" ? "" : same ? substr(aims, 1, 4) : aims, met)
    }
}
