# SPDX-License-Identifier: MIT
#
# From the XML of GoogleTest a line for each test: prefix, "Suite.Name", passed, failed or skipped, seconds.
function attribute(name,    at)
{
  if (!match($0, " " name "=\"[^\"]*\"")) {
    return ""
  }
  at = RSTART + length(name) + 3
  return substr($0, at, RSTART + RLENGTH - 1 - at)
}
function tell()
{
  print prefix, test, verdict, seconds
  test = ""
}
/^ *<testcase / {
  test = attribute("classname") "." attribute("name")
  seconds = attribute("time")
  verdict = attribute("status") == "run" && attribute("result") == "completed" ? "passed" : "skipped"
  if ($0 ~ /\/>$/) {
    tell()
  }
  next
}
test != "" && /^ *<failure / { verdict = "failed" }
test != "" && /^ *<skipped / { verdict = verdict == "failed" ? verdict : "skipped" }
test != "" && /^ *<\/testcase>/ { tell() }
