#ifndef PLATFORM_EXPORT_H
#define PLATFORM_EXPORT_H

// The library builds with hidden visibility; only what carries this mark is
// part of libbackupset.so's interface.
#define BSET_API __attribute__((visibility("default")))

#endif
