#ifndef SCHEMA_CATALOG_SCHEMA_STEPS_H
#define SCHEMA_CATALOG_SCHEMA_STEPS_H

// One numbered step of the catalogue schema: the DDL that takes a catalogue
// from version number - 1 to version number, for each engine.
struct Catalog_Schema_Step {
  int number;
  char const* name;
  char const* sqlite;
  char const* postgresql;
};

// Defined in the source generated at build time from schema/steps/. In
// number order, 1 to the latest without gaps (the build checks).
extern Catalog_Schema_Step const catalog_schema_steps[];
extern int const catalog_schema_step_count;

#endif
