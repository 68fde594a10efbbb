-- SPDX-License-Identifier: GPL-3.0-or-later
-- Roles with least rights for a schema of data files; docs/cluster.md describes them.
--
--   psql -v schema=class_1 -f cluster_roles.sql shop
--   psql -v schema=class_1 -v roles=till -f cluster_roles.sql shop
--
-- Run it as a superuser, or as the owner of the database with CREATEROLE, once for each schema. The names
-- of the roles begin with `roles`, by default with the name of the database; schemas of one
-- application share them. Another run changes nothing, or gives files that were made by users of
-- their own back to the roles.
\set ON_ERROR_STOP on
\set QUIET on
\if :{?schema}
\else
  \warn 'cluster_roles.sql: give the schema: psql -v schema=class_1 -f cluster_roles.sql DATABASE'
  DO $$ BEGIN RAISE EXCEPTION 'no schema'; END $$;
\endif
\if :{?roles}
\else
  SELECT current_database() AS roles \gset
\endif
\set owner :roles _owner
\set makers :roles _makers
\set programs :roles _programs
\set readers :roles _readers
BEGIN;
SET LOCAL client_min_messages = warning;
-- The runtime makes its tables under the same lock.
SELECT pg_advisory_xact_lock(hashtext('marigold')) AS locked \gset

SELECT format('CREATE ROLE %I NOLOGIN', name)
  FROM unnest(ARRAY[:'owner', :'makers', :'programs', :'readers']) name
  WHERE NOT EXISTS (SELECT FROM pg_roles WHERE rolname = name) \gexec
-- Only a member of a role may make objects of it.
SELECT format('GRANT %I TO CURRENT_USER', name) FROM unnest(ARRAY[:'owner', :'makers']) name
  WHERE NOT pg_has_role(name, 'MEMBER') \gexec

-- Tables of the runtime, as it makes them itself in a schema without them.
SELECT format('CREATE SCHEMA %I', :'schema') WHERE to_regnamespace(quote_ident(:'schema')) IS NULL \gexec
CREATE SEQUENCE IF NOT EXISTS :"schema".marigold_numbers;
CREATE TABLE IF NOT EXISTS :"schema".marigold_files (
  name text PRIMARY KEY, number bigint NOT NULL, id bigint NOT NULL, record_length bigint NOT NULL,
  keys bytea NOT NULL);
CREATE TABLE IF NOT EXISTS :"schema".marigold_texts (name text PRIMARY KEY, text bytea NOT NULL);
CREATE TABLE IF NOT EXISTS :"schema".marigold_sessions (
  session bigint PRIMARY KEY, process bigint NOT NULL, host text NOT NULL,
  since timestamptz NOT NULL DEFAULT now(), operation bigint NOT NULL, sequence bigint NOT NULL)
  WITH (fillfactor = 10);
CREATE TABLE IF NOT EXISTS :"schema".marigold_format (version bigint PRIMARY KEY);
INSERT INTO :"schema".marigold_format SELECT 1
  WHERE NOT EXISTS (SELECT FROM :"schema".marigold_format);

-- The owner has the schema and the runtime's tables; the makers have the files.
ALTER SCHEMA :"schema" OWNER TO :"owner";
GRANT USAGE ON SCHEMA :"schema" TO :"makers", :"programs", :"readers";
GRANT CREATE ON SCHEMA :"schema" TO :"makers";
SELECT format('ALTER TABLE %I.%I OWNER TO %I', :'schema', relname,
              CASE WHEN relname ~ '^f[0-9]+(_seq)?$' THEN :'makers' ELSE :'owner' END)
  FROM pg_class WHERE relnamespace = to_regnamespace(quote_ident(:'schema'))
  AND relkind IN ('r', 'S') AND relname ~ '^(f[0-9]+(_seq)?|marigold_[a-z]+)$' \gexec

GRANT SELECT ON ALL TABLES IN SCHEMA :"schema" TO :"readers", :"programs";
GRANT INSERT, UPDATE, DELETE ON :"schema".marigold_sessions TO :"programs";
SELECT format('GRANT INSERT, UPDATE, DELETE ON %1$I.%2$I TO %3$I; '
              'GRANT USAGE, SELECT, UPDATE ON SEQUENCE %1$I.%4$I TO %3$I',
              :'schema', 'f' || number, :'programs', 'f' || number || '_seq')
  FROM :"schema".marigold_files \gexec
ALTER DEFAULT PRIVILEGES FOR ROLE :"makers" IN SCHEMA :"schema"
  GRANT SELECT ON TABLES TO :"readers";
ALTER DEFAULT PRIVILEGES FOR ROLE :"makers" IN SCHEMA :"schema"
  GRANT SELECT, INSERT, UPDATE, DELETE ON TABLES TO :"programs";
ALTER DEFAULT PRIVILEGES FOR ROLE :"makers" IN SCHEMA :"schema"
  GRANT USAGE, SELECT, UPDATE ON SEQUENCES TO :"programs";

GRANT :"programs" TO :"makers";
GRANT INSERT, UPDATE, DELETE ON :"schema".marigold_files, :"schema".marigold_texts TO :"makers";
GRANT USAGE ON SEQUENCE :"schema".marigold_numbers TO :"makers";
COMMIT;
