-- The index of recordings: what `lmi list --index` writes, and sqlite3 and pandas read.
-- docs/index.md describes it. A change of it needs a new user_version.
PRAGMA application_id = 0x4c4d4931;
PRAGMA user_version = 1;

-- A row for each recording, and for each file that is meant to be one and can't be opened.
CREATE TABLE recording (
  id INTEGER PRIMARY KEY,
  path TEXT NOT NULL UNIQUE,     -- absolute; a BLOB where its bytes are no UTF-8
  size INTEGER NOT NULL,         -- bytes of the file as it was opened
  modified_ns INTEGER NOT NULL,  -- its last write, in nanoseconds since 1970, UTC
  fingerprint TEXT NOT NULL,     -- of the sidecars, and how the file was opened
  format TEXT,                   -- "edf"; NULL in a row with a failure, as the next ones
  format_name TEXT,              -- "European Data Format"
  sidecar TEXT,                  -- file name of what described the samples; NULL: nothing
  start TEXT,                    -- "2019-11-05T22:15:30.000"; NULL: the file states none
  seconds REAL,                  -- from the start to the end of the last block; NULL: no rate
  rates TEXT,                    -- JSON array of numbers, in the order of the blocks
  blocks INTEGER,
  channels INTEGER,              -- different ones, by number and title
  titles TEXT,                   -- JSON array of texts, each once
  comments INTEGER,
  warnings INTEGER NOT NULL,
  findings TEXT NOT NULL,        -- JSON array of codes, each once
  failure TEXT,                  -- why it can't be opened; NULL: it can
  notes TEXT
);

CREATE TABLE block (
  recording_id INTEGER NOT NULL REFERENCES recording (id) ON DELETE CASCADE,
  number INTEGER NOT NULL,    -- from 1
  start_time REAL NOT NULL,   -- seconds from the start of the recording
  rate REAL NOT NULL,         -- samples per second of each channel
  frames INTEGER NOT NULL,
  bits INTEGER NOT NULL,      -- of a sample, as stored
  is_real INTEGER NOT NULL,   -- 1: Singles or Doubles, values as they are
  device TEXT NOT NULL,
  title TEXT NOT NULL,
  notes TEXT NOT NULL,
  PRIMARY KEY (recording_id, number)
) WITHOUT ROWID;

CREATE TABLE channel (
  recording_id INTEGER NOT NULL REFERENCES recording (id) ON DELETE CASCADE,
  block INTEGER NOT NULL,     -- number of its block
  position INTEGER NOT NULL,  -- in the block, from 1
  number INTEGER NOT NULL,    -- in the file, from 1
  title TEXT NOT NULL,
  unit TEXT NOT NULL,
  factor REAL NOT NULL,       -- value = count * factor + "offset"
  "offset" REAL NOT NULL,
  PRIMARY KEY (recording_id, block, position)
) WITHOUT ROWID;

CREATE TABLE comment (
  recording_id INTEGER NOT NULL REFERENCES recording (id) ON DELETE CASCADE,
  number INTEGER NOT NULL,  -- by time, from 1
  block INTEGER NOT NULL,   -- number of its block
  time REAL NOT NULL,       -- seconds from the start of the recording
  duration REAL,            -- seconds; NULL: none stated
  text TEXT NOT NULL,
  PRIMARY KEY (recording_id, number)
) WITHOUT ROWID;

CREATE TABLE finding (
  recording_id INTEGER NOT NULL REFERENCES recording (id) ON DELETE CASCADE,
  number INTEGER NOT NULL,      -- from 1
  is_warning INTEGER NOT NULL,  -- 1: a user would get values wrong; 0: a note
  code TEXT NOT NULL,           -- "data-cut-off"
  position INTEGER,             -- byte of the file; NULL: no place
  block INTEGER,                -- from 1; NULL: the whole file
  channel INTEGER,              -- of the block, from 1; NULL: all of it
  text TEXT NOT NULL,
  PRIMARY KEY (recording_id, number)
) WITHOUT ROWID;

-- Files of folders that are no recordings, so that they needn't be looked into again.
CREATE TABLE other_file (
  path TEXT PRIMARY KEY,
  size INTEGER NOT NULL,
  modified_ns INTEGER NOT NULL,
  fingerprint TEXT NOT NULL
) WITHOUT ROWID;
