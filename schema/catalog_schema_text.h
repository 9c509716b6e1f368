#ifndef SCHEMA_CATALOG_SCHEMA_TEXT_H
#define SCHEMA_CATALOG_SCHEMA_TEXT_H

// Defined in the source generated at build time from the .sql files.
char const* catalog_schema_sqlite_text();
char const* catalog_schema_postgresql_text();

#endif
