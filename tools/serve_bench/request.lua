-- The same request again and again, through a proxy or to the server itself; tells what was measured as one line of JSON.
-- arguments: what is asked for, Host, "keep" or "close", milliseconds between an answer and the next request
local text
local pause

function init(arguments)
    local headers = { ["Host"] = arguments[2] }
    if arguments[3] == "close" then headers["Connection"] = "close" end
    text = wrk.format("GET", arguments[1], headers)
    pause = tonumber(arguments[4])
    if pause > 0 then
        -- Not all at once, so that they do not march in step.
        math.randomseed(1)
        delay = function() return math.random(0, 2 * pause) end
    end
end

function request() return text end

function done(summary, latency)
    io.write(string.format(
        '{"requests": %d, "seconds": %f, "failed": %d, "p50": %f, "p99": %f}\n', summary.requests, summary.duration / 1e6,
        summary.errors.connect + summary.errors.read + summary.errors.write + summary.errors.status
            + summary.errors.timeout, latency:percentile(50) / 1000, latency:percentile(99) / 1000))
end
