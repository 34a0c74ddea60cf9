-- wrk script of the soak run: a mix of reads, an unknown path and a wrong
-- password in turn, and every 200th request a change answered by the
-- control daemon (which waits for its reply's 100 ms poll). Every
-- answer is classified (a document, a ResponseStatus code, or an HTTP
-- status) and checked: its Content-Length must equal the bytes received.
local admin = "Basic YWRtaW46YWRtaW4="
local wrong = "Basic YWRtaW46d3Jvbmc="
local mix = {
  {"GET", "/PSIA/index", admin},
  {"GET", "/PSIA/System/deviceInfo", admin},
  {"GET", "/PSIA/Streaming/channels", admin},
  {"GET", "/PSIA/System/time", admin},
  {"GET", "/PSIA/Nothing/here", admin},
  {"GET", "/PSIA/index", wrong},
}
local change = {"PUT", "/PSIA/System/time/timeZone", admin, "JST-9"}

local threads = {}
function setup(thread) table.insert(threads, thread) end

function init(args)
  counts = {}
  malformed = 0
  turn = 0
end

function request()
  turn = turn + 1
  local r = turn % 200 == 0 and change or mix[turn % #mix + 1]
  return wrk.format(r[1], r[2], {Authorization = r[3]}, r[4])
end

function response(status, headers, body)
  local kind
  if status ~= 200 then
    kind = "http " .. status
  else
    local code = body:match("<statusCode>(%d+)</statusCode>")
    kind = code and ("status " .. code) or "document"
  end
  counts[kind] = (counts[kind] or 0) + 1
  local length = tonumber(headers["Content-Length"])
  if length ~= #body then malformed = malformed + 1 end
end

function done(summary, latency, requests)
  local total, bad = {}, 0
  for _, thread in ipairs(threads) do
    for kind, n in pairs(thread:get("counts")) do total[kind] = (total[kind] or 0) + n end
    bad = bad + thread:get("malformed")
  end
  local kinds = {}
  for kind in pairs(total) do table.insert(kinds, kind) end
  table.sort(kinds)
  for _, kind in ipairs(kinds) do io.write(string.format("answers %-12s %d\n", kind, total[kind])) end
  io.write(string.format("answers malformed %d\n", bad))
  io.write(string.format("errors connect %d read %d write %d timeout %d status %d\n",
    summary.errors.connect, summary.errors.read, summary.errors.write,
    summary.errors.timeout, summary.errors.status))
  io.write(string.format("requests %d\n", summary.requests))
  -- One Markdown table row for soak.sh (it adds the connections).
  io.write(string.format("row | %.0f | %d | %d | %d | %d | %d | %.1f | %.1f |\n",
    summary.requests / (summary.duration / 1e6), total["document"] or 0, total["http 401"] or 0,
    total["status 1"] or 0, total["status 4"] or 0, bad,
    latency:percentile(50) / 1000, latency:percentile(99) / 1000))
end
