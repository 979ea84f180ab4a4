#!/usr/bin/env bash
# The tracking harvest beside a log analyser: one W3C daily log of LINES lines
# (1,000,000 unless given) with 20 tracked names, counted by the harvest and
# parsed by GoAccess to a report, both timed in one run; each name's hits
# checked against an independent count (grep -ic). Then the back-fill of 30
# days of 100,000 lines with the same names, wall time printed.
#   bench/tracking_vs_goaccess.sh [LINES]
set -euo pipefail
cd "$(dirname "$0")/.."
lines=${1:-1000000}
command -v goaccess >/dev/null || { apt-get update >/dev/null && apt-get install -y goaccess >/dev/null; }
[ -x build/tarnex-harvest-run ] || { cmake -S . -B build >/dev/null && cmake --build build -j2 --target tarnex-harvest-run; }
work=$(mktemp -d /tmp/tarnex-track-bench-XXXXXX)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/today" "$work/old"

names=()
for i in $(seq -w 1 20); do names+=("file$i.zip"); done

/usr/bin/python3 - "$work" "$lines" <<'PY'
import random, sys
work, lines = sys.argv[1], int(sys.argv[2])
random.seed(2012)
stems = ["/downloads/file%02d.zip" % i for i in range(1, 21)] + \
        ["/pages/page%03d.htm" % i for i in range(180)]
agents = ["Mozilla/5.0+(Windows+NT+6.1)", "Mozilla/5.0+(X11;+Linux+x86_64)", "curl/7.29"]
head = ("#Software: Microsoft Internet Information Services 7.5\r\n#Version: 1.0\r\n"
        "#Date: %s 00:00:00\r\n#Fields: date time s-ip cs-method cs-uri-stem cs-uri-query "
        "s-port cs-username c-ip cs(User-Agent) cs(Referer) sc-status sc-substatus "
        "sc-win32-status time-taken\r\n")
def log(path, date, count):
    with open(path, "w", newline="") as f:
        f.write(head % date)
        for i in range(count):
            t = "%02d:%02d:%02d" % (i * 86400 // count // 3600, i * 86400 // count // 60 % 60,
                                    i * 86400 // count % 60)
            f.write("%s %s 10.0.0.1 GET %s - 80 - 10.1.%d.%d %s - %d 0 0 %d\r\n" % (
                date, t, random.choice(stems), random.randrange(256), random.randrange(256),
                random.choice(agents), random.choice([200, 200, 200, 304, 404]),
                random.randrange(1, 900)))
log(work + "/today/ex121114.log", "2012-11-14", lines)
for day in range(30):
    month, dom = (10, 15 + day) if day < 17 else (11, day - 16)
    log(work + "/old/ex12%02d%02d.log" % (month, dom), "2012-%02d-%02d" % (month, dom), 100000)
PY
log="$work/today/ex121114.log"
printf 'log: %s lines, %s MB; %s tracked names\n' "$lines" "$(( $(stat -c %s "$log") / 1000000 ))" "${#names[@]}"

ours=$(build/tarnex-harvest-run harvest "$work/today" "${names[@]}")
ours_s=$(awk '/^seconds/ {print $2}' <<<"$ours")
start=$(date +%s.%N)
goaccess "$log" --log-format=W3C --no-progress -o "$work/report.json" >/dev/null 2>"$work/goaccess.err" || {
  cat "$work/goaccess.err"; exit 1; }
end=$(date +%s.%N)
their_s=$(echo "$end - $start" | bc -l)
printf '%-28s %10s %14s\n' "" "seconds" "lines/second"
printf '%-28s %10.3f %14.0f\n' "tarnex harvest" "$ours_s" "$(echo "$lines / $ours_s" | bc -l)"
printf '%-28s %10.3f %14.0f\n' "goaccess (report)" "$their_s" "$(echo "$lines / $their_s" | bc -l)"
printf 'ratio: %.1f times the lines a second of goaccess\n' "$(echo "$their_s / $ours_s" | bc -l)"

bad=0
for name in "${names[@]}"; do
  want=$(grep -ic -- "$name" "$log" || true)
  got=$(awk -v n="$name" '$1 == "hits" && $2 == n {print $3}' <<<"$ours")
  [ "$got" = "$want" ] || { echo "hits of $name: harvest $got, grep -ic $want"; bad=1; }
done
[ "$bad" = 0 ] && echo "hits: the same as grep -ic for all ${#names[@]} names"

fill=$(build/tarnex-harvest-run backfill "$work/old" "${names[@]}")
printf 'back-fill of 30 logs of 100,000 lines: %.2f s\n' "$(awk '/^seconds/ {print $2}' <<<"$fill")"
exit $bad
