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
