-- One row for each event of a machine. The columns beside the event are those that questions begin with.
CREATE TABLE tarn_events (
    id bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
    machine text NOT NULL,
    happened timestamptz NOT NULL,  -- the time of the frame, else that of the line
    event jsonb NOT NULL,
    type text GENERATED ALWAYS AS (event ->> 'type') STORED,
    verdict text GENERATED ALWAYS AS (event ->> 'verdict') STORED,
    host text GENERATED ALWAYS AS (event ->> 'host') STORED
);
CREATE INDEX ON tarn_events (type, verdict, happened);
CREATE INDEX ON tarn_events (machine, happened);
CREATE INDEX ON tarn_events (host) WHERE verdict = 'blocked';
