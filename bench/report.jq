# Makes tables and the lines "ratio NAME PEER CASE VALUE" from the JSON of a benchmark program.
#   jq -r --arg name NAME -f report.jq < JSON
def padded(width): tostring | . + " " * ([width - length, 0] | max);
def aligned(width): tostring | " " * ([width - length, 0] | max) + .;
# Takes sorted numbers.
def quantile(part): .[(length - 1) * part | round];
# Formats a number with three significant digits, or with all digits before the point.
def digits:
  if . >= 100 then round
  elif . >= 10 then . * 10 | round / 10
  else . * 100 | round / 100
  end;
def inOrder: reduce .[] as $one ([]; if index([$one]) then . else . + [$one] end);

# Makes one figure per peer and case, in the order of their registration.
def figures(of; suffix):
  map(select(.run_type == "iteration" and of != null))
  | group_by(.family_index)
  | map({
      peer: (.[0].run_name | split("/")[0]),
      case: ((.[0].run_name | split("/")[1]) + suffix),
      sorted: (map(of) | sort)
    }
    | .median = (.sorted | quantile(0.5))
    | .spread = (.sorted | (quantile(0.75) - quantile(0.25)) / ([quantile(0.5), 1e-9] | max)));

def table(unit):
  (map(.case) | inOrder) as $cases | (map(.peer) | inOrder) as $peers
  | ($cases + ["\($name), \(unit)"] | map(length) | max + 1) as $first
  | ($peers | map([length + 2, 10] | max)) as $widths
  | . as $figures
  | ("\($name), \(unit)" | padded($first))
    + ([range($peers | length) | . as $i | $peers[$i] | aligned($widths[$i])] | add),
    ($cases[] as $case
     | ($case | padded($first))
       + ([range($peers | length) | . as $i
           | [$figures[] | select(.case == $case and .peer == $peers[$i]) | .median | digits]
           | (.[0] // "-") | aligned($widths[$i])] | add));

def ratios:
  . as $figures
  | .[] | select(.peer == "ours") as $ours
  | $figures[] | select(.peer != "ours" and .case == $ours.case)
  | "ratio \($name) \(.peer) \(.case) \($ours.median / .median * 1000 | round / 1000)";

.benchmarks
| figures(.each // (.cpu_time / 1e9) | . * 1e9; "") as $times
| figures(.bytes; "-bytes") as $bytes
| ($times | table("ns")),
  ($times | max_by(.spread)
   | "medians; the middle half of a figure spreads over \(.spread * 100 | digits) % of it at most"
     + ", that of \(.peer) for \(.case)"),
  (if $bytes | length > 0 then "", ($bytes | table("bytes")) else empty end),
  "", ($times + $bytes | ratios)
