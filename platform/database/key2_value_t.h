#ifndef PLATFORM_DATABASE_KEY2_VALUE_T_H
#define PLATFORM_DATABASE_KEY2_VALUE_T_H

// One row of a static look-up table: a key and what it maps to. Tables are
// plain arrays ended by a row whose key is null, so they can be written as
// constant initialisers and walked without a length.
template <typename V>
struct Key2_Value_T {
  char const* key;
  V value;
};

#endif
