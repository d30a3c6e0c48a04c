-- The MIB database. Column names follow the component's statements; text keys
-- compare without regard to case, as the component has always looked names up.
-- Booleans are stored as -1 (true) and 0 (false).

CREATE TABLE Tree (
    OID         TEXT,
    MIB         TEXT COLLATE NOCASE,
    Name        TEXT COLLATE NOCASE,
    ParentOID   TEXT,
    "Index"     INTEGER,
    TypeI       INTEGER,
    TypeS       TEXT,
    Description TEXT,
    Status      INTEGER,
    Access      INTEGER,
    Enum        TEXT COLLATE NOCASE,
    Parse       TEXT,
    Units       TEXT,
    IndexBy     TEXT,
    Calculation TEXT,
    "Primary"   INTEGER NOT NULL DEFAULT 0
);
-- Resolution by OID (with the primary test), children of a node, names, modules.
CREATE INDEX Tree_OID ON Tree (OID, "Primary");
CREATE INDEX Tree_ParentOID ON Tree (ParentOID, "Primary");
CREATE INDEX Tree_Name ON Tree (Name, "Primary");
CREATE INDEX Tree_MIB ON Tree (MIB, Name);

CREATE TABLE MIBs (
    Name         TEXT COLLATE NOCASE,
    Description  TEXT,
    Organization TEXT,
    Contact      TEXT,
    Compiled     TEXT,
    Imported     TEXT,
    LastUpdated  TEXT
);
-- Module names are unique as spelled: MODEM-MIB and Modem-MIB are two modules.
CREATE UNIQUE INDEX MIBs_Name ON MIBs (Name COLLATE BINARY);

CREATE TABLE Enums (
    Name  TEXT COLLATE NOCASE,
    Value INTEGER,
    Enum  TEXT
);
CREATE INDEX Enums_Name_Value ON Enums (Name, Value);

CREATE TABLE Icons (
    OID          TEXT,
    "Small Icon" BLOB
);
CREATE INDEX Icons_OID ON Icons (OID);

CREATE TABLE Types (
    Type  TEXT COLLATE NOCASE,
    Root  TEXT,
    Value INTEGER
);
CREATE UNIQUE INDEX Types_Type ON Types (Type);
