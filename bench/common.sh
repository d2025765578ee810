# SPDX-License-Identifier: Apache-2.0
# common.sh - helpers shared by the benchmark scripts (sourced, not run).

# hf NAME PREPARE CMD... : runs CMD with hyperfine (shell-less, RUNS runs after 3
# warm-ups; PREPARE, when not empty, runs before each), keeps the JSON in $DIR and
# prints the median in milliseconds. Arguments are quoted for hyperfine's own splitting.
hf() {
  local name=$1 prep=$2
  shift 2
  local args=()
  [ -n "$prep" ] && args+=(--prepare "$prep")
  hyperfine -N --style none --warmup 3 --runs "$RUNS" "${args[@]}" \
    --export-json "$DIR/$name.json" "$(printf '%q ' "$@")" >/dev/null
  python3 -c "import json,statistics,sys; r=json.load(open(sys.argv[1]))['results'][0]; \
print('%.2f' % (statistics.median(r['times'])*1e3))" "$DIR/$name.json"
}

# measure_floor FILE : the floor of an edit of FILE on this machine: starting a
# process (/bin/true), reading FILE's bytes and writing them back with fsync, rename
# and a directory fsync ($B/bench/floor). Prints it and sets FLOOR (ms).
measure_floor() {
  local t_true read_us write_us
  t_true=$(hf true "" /bin/true)
  read -r _ _ _ read_us _ write_us < <("$B/bench/floor" "$1" "$RUNS")
  FLOOR=$(awk -v t="$t_true" -v r="$read_us" -v w="$write_us" \
    'BEGIN { printf "%.2f", t + r / 1e3 + w / 1e3 }')
  awk -v t="$t_true" -v r="$read_us" -v w="$write_us" -v f="$FLOOR" 'BEGIN {
    printf "floor: process start %.2f ms + read %.2f ms + write/fsync/rename %.2f ms = %.2f ms\n",
      t, r / 1e3, w / 1e3, f }'
}

# vs_floor LABEL MS [NOTE] : prints a median beside the floor that measure_floor set.
vs_floor() {
  awk -v l="$1" -v m="$2" -v f="$FLOOR" -v n="${3:-}" \
    'BEGIN { printf "%s: %.2f ms = %.2fx floor%s\n", l, m, m / f, n == "" ? "" : " " n }'
}
