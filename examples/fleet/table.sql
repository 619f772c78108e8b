-- One row for each event of a machine. The columns beside the event are those that questions begin with.
CREATE TABLE tarn_events (
    id bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
    machine text NOT NULL,
    happened timestamptz NOT NULL,  -- the time of the frame, else that of the line
    event jsonb NOT NULL,
    type text NOT NULL GENERATED ALWAYS AS (event ->> 'type') STORED,
    verdict text GENERATED ALWAYS AS (event ->> 'verdict') STORED,
    host text GENERATED ALWAYS AS (event ->> 'host') STORED
);
CREATE INDEX ON tarn_events (type, verdict, happened);
CREATE INDEX ON tarn_events (machine, happened);
CREATE INDEX ON tarn_events (host) WHERE verdict = 'blocked';

-- Lines that are no event: half written, too long, not of tarnhost. They are kept as they came.
CREATE TABLE tarn_rejected (
    id bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
    machine text NOT NULL,
    received timestamptz NOT NULL DEFAULT now(),
    line text NOT NULL,
    why text NOT NULL
);

-- Keeps a line in one of the tables. An error would have rsyslog send the same line for ever; what is left to it is what
-- a later try can mend, such as a full disk.
CREATE FUNCTION tarn_take(machine text, line text) RETURNS void LANGUAGE plpgsql AS $$
DECLARE
    event jsonb;
    happened text;
BEGIN
    IF btrim(line) = '' THEN
        RETURN;
    END IF;
    event := line::jsonb;
    happened := coalesce(event ->> 'time', event ->> 'written');
    IF happened !~ '^\d{4}-\d\d-\d\dT' THEN  -- PostgreSQL would take "yesterday", too
        RAISE invalid_datetime_format USING MESSAGE = 'the time of the event is not of the form 2026-01-31T12:34:56Z';
    END IF;
    INSERT INTO tarn_events (machine, happened, event) VALUES (machine, happened::timestamptz, event);
EXCEPTION
    WHEN data_exception OR integrity_constraint_violation OR program_limit_exceeded THEN
        INSERT INTO tarn_rejected (machine, line, why) VALUES (machine, line, SQLERRM);
END
$$;
