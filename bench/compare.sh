#!/bin/sh
# Sets our rows beside the rows of others: compare.sh OURS.tsv OTHERS.tsv. Rows are workload <TAB> name <TAB> ns_per_pixel;
# of rows that repeat the lowest counts. Names that end in _less do less work and `limit` is a plain copy: neither is
# the best of the others. A ratio above 1 means that we are faster.
set -eu
awk -F'\t' '
/^#/ || NF != 3 { next }
FNR == NR { if (!($1 in ours)) order[++n] = $1; if (!($1 in ours) || $3 < ours[$1]) ours[$1] = $3; next }
$2 == "limit" || $2 == "vexokit" || $2 ~ /_less$/ { next }
!($1 in best) || $3 + 0 < best[$1] { best[$1] = $3 + 0; name[$1] = $2 }
END {
    printf "%-28s %10s %10s %6s  %s\n", "workload", "ours", "best", "ratio", "name"
    for (i = 1; i <= n; ++i) {
        w = order[i]
        if (w in best) printf "%-28s %10.4f %10.4f %6.2f  %s\n", w, ours[w], best[w], best[w] / ours[w], name[w]
        else printf "%-28s %10.4f\n", w, ours[w]
    }
}' "$1" "$2"
