#ifndef PLATFORM_SQL_DIALECT_H
#define PLATFORM_SQL_DIALECT_H

// The SQL engines a statement can be written for. They differ here only in
// how parameters are spelt: SQLite keeps ":name", PostgreSQL wants "$n".
enum class Dialect { SQLite, PostgreSQL };

#endif
