-- wrk: one request, described by the environment (BENCH_METHOD,
-- BENCH_PATH, BENCH_BODY, BENCH_AUTH).
local method = os.getenv("BENCH_METHOD") or "GET"
local path = os.getenv("BENCH_PATH") or "/PSIA/index"
local body = os.getenv("BENCH_BODY")
if body == "" then body = nil end
local headers = {Authorization = os.getenv("BENCH_AUTH") or "Basic YWRtaW46YWRtaW4="}
function request() return wrk.format(method, path, headers, body) end
