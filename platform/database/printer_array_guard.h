#ifndef PLATFORM_DATABASE_PRINTER_ARRAY_GUARD_H
#define PLATFORM_DATABASE_PRINTER_ARRAY_GUARD_H

#include "platform/database/query_result_printer.h"

namespace database {
namespace sql {

// Opens an array in a printer and closes it when the scope ends, on every path.
class Printer_Array_Guard {
 public:
  Printer_Array_Guard(Query_Result_Printer& printer, int index, char const* key) : printer_(printer) {
    printer_.start_array(index, key);
  }
  ~Printer_Array_Guard() { printer_.end_array(); }
  Printer_Array_Guard(Printer_Array_Guard const&) = delete;
  Printer_Array_Guard& operator=(Printer_Array_Guard const&) = delete;

 private:
  Query_Result_Printer& printer_;
};

}  // namespace sql
}  // namespace database

#endif
