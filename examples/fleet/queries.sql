-- The questions that people ask first. Each stands below its name.

-- name: top_blocked_sites
-- Which sites are blocked most, on how many machines?
SELECT host, count(*) AS times, count(DISTINCT machine) AS machines
FROM tarn_events
WHERE type = 'verdict' AND verdict = 'blocked'
GROUP BY host
ORDER BY times DESC, host
LIMIT 20;

-- name: blocked_by_whom_and_why
-- Which machine met which block, for which reason, by which line of the policy?
SELECT machine, event ->> 'reason_text' AS reason, event #>> '{entry,file}' AS file, (event #>> '{entry,line}')::int AS line,
       count(*) AS times, min(happened) AS first, max(happened) AS last
FROM tarn_events
WHERE type IN ('verdict', 'attack') AND verdict = 'blocked'
GROUP BY machine, reason, file, line
ORDER BY times DESC, machine, reason, file, line;

-- name: entries_by_last_hit
-- Which entries of the policy decided something, and when last? What is missing here never did.
SELECT event #>> '{entry,file}' AS file, (event #>> '{entry,line}')::int AS line, event #>> '{entry,text}' AS entry,
       count(*) AS times, max(happened) AS last
FROM tarn_events
WHERE event ? 'entry'
GROUP BY file, line, entry
ORDER BY last, file, line;

-- name: not_examined_by_machine
-- What did the library not see, and where?
SELECT machine, event ->> 'what' AS what, count(*) AS times
FROM tarn_events
WHERE type = 'not_examined'
GROUP BY machine, what
ORDER BY machine, times DESC, what;

-- name: latency_by_machine_and_day
-- How long did verdicts take, in microseconds?
SELECT machine, (happened AT TIME ZONE 'UTC')::date AS day, count(*) AS verdicts,
       percentile_disc(0.5) WITHIN GROUP (ORDER BY (event ->> 'latency_ns')::bigint) / 1000.0 AS median,
       percentile_disc(0.99) WITHIN GROUP (ORDER BY (event ->> 'latency_ns')::bigint) / 1000.0 AS p99
FROM tarn_events
WHERE event ? 'latency_ns' AND type <> 'stats'  -- those of a run are percentiles
GROUP BY machine, day
ORDER BY machine, day;

-- name: rejected_by_machine
-- Which machines sent lines that are no event, and what is wrong with them?
SELECT machine, why, count(*) AS times, max(received) AS last, left(min(line), 60) AS such_as
FROM tarn_rejected
GROUP BY machine, why
ORDER BY times DESC, machine, why;
