#include "platform/database/result_delivery.h"

#include <ace/Log_Msg.h>

#include <cstring>

#include "platform/json/json_text.h"
#include "platform/sql/uuid_binary.h"

namespace database {
namespace sql {

namespace {

bool text_truth(char const* text, size_t length) {
  static char const* const yes[] = {"1", "t", "true", "y", "yes", "on"};
  for (char const* word : yes) {
    size_t n = std::strlen(word);
    if (n != length) continue;
    bool same = true;
    for (size_t i = 0; i < n && same; ++i) same = (text[i] | 0x20) == word[i];
    if (same) return true;
  }
  return false;
}

}  // namespace

Result_Delivery::Result_Delivery(Connection& connection, Query_Result_Printer& printer, int mode,
                                 Query_Result_Handler* handler)
    : connection_(connection), printer_(printer), mode_(mode), handler_(handler), keys_(nullptr), row_(0) {}

bool Result_Delivery::known_mode(int mode) {
  return mode == Connection::QM_FLAT || mode == Connection::QM_COLUMN || mode == Connection::QM_ROWS;
}

bool Result_Delivery::stop(char const* what) {
  stop_reason_ = what;
  return false;
}

bool Result_Delivery::names(std::vector<std::string> const& keys) {
  keys_ = &keys;
  size_t const n = keys.size();
  codes_.assign(n, Query_Result_Handler::VT_NONE);
  live_.assign(n, true);
  if (mode_ == Connection::QM_COLUMN) {
    for (size_t i = 1; i < n; ++i) live_[i] = false;
  }
  if (handler_) {
    for (size_t i = 0; i < n; ++i) {
      char const* key = handler_->translate_key((*keys_)[i].c_str());
      if (key != (*keys_)[i].c_str()) {
        if (keys_ != &translated_) {
          translated_ = keys;
          keys_ = &translated_;
        }
        translated_[i] = key;
      }
    }
    for (size_t i = 0; i < n; ++i) {
      char const* key = (*keys_)[i].c_str();
      codes_[i] = handler_->value_code(key);
      if (live_[i] && !handler_->preview_name_i(static_cast<int>(i), key)) live_[i] = false;
    }
    if (!handler_->handle_pre_end_names_i(connection_, *keys_, printer_)) return stop("stopped by the handler");
  }
  return true;
}

bool Result_Delivery::begin_row(int row) {
  row_ = row;
  if (mode_ == Connection::QM_ROWS && !printer_.start_map(row, "")) return stop("stopped by the printer");
  return true;
}

bool Result_Delivery::end_row(int row) {
  if (handler_ && !handler_->handle_pre_end_row_i(connection_, row, printer_)) {
    if (mode_ == Connection::QM_ROWS) printer_.end_map();
    return stop("stopped by the handler");
  }
  if (mode_ == Connection::QM_ROWS && !printer_.end_map()) return stop("stopped by the printer");
  return true;
}

bool Result_Delivery::end(int rows) {
  if (handler_ && !handler_->handle_pre_end_rows_i(connection_, rows, printer_)) return stop("stopped by the handler");
  return true;
}

bool Result_Delivery::value_null(int column) {
  char const* key = (*keys_)[column].c_str();
  if (handler_) {
    if (handler_->skip_null_i(column, key)) return true;
    if (handler_->handle_null_i(connection_, index(column), key, printer_)) return true;
  }
  return printer_.print_null(index(column), key) || stop("stopped by the printer");
}

bool Result_Delivery::value_integer(int column, long long value) {
  char const* key = (*keys_)[column].c_str();
  if (handler_) {
    if (handler_->skip_integer_i(column, key, value)) return true;
    if (handler_->handle_integer_i(connection_, index(column), key, value, printer_)) return true;
    if (codes_[column] == Query_Result_Handler::VT_BOOLEAN)
      return printer_.print_bool(index(column), key, value != 0) || stop("stopped by the printer");
  }
  return printer_.print_int(index(column), key, value) || stop("stopped by the printer");
}

bool Result_Delivery::value_bool(int column, bool value) {
  char const* key = (*keys_)[column].c_str();
  if (handler_) {
    long long const number = value ? 1 : 0;
    if (handler_->skip_integer_i(column, key, number)) return true;
    if (handler_->handle_integer_i(connection_, index(column), key, number, printer_)) return true;
  }
  // Whatever code the table gives the key: the engine already says it is a
  // truth value.
  return printer_.print_bool(index(column), key, value) || stop("stopped by the printer");
}

bool Result_Delivery::value_unsigned(int column, unsigned long long value) {
  char const* key = (*keys_)[column].c_str();
  if (handler_) {
    long long const number = static_cast<long long>(value);
    if (handler_->skip_integer_i(column, key, number)) return true;
    if (handler_->handle_integer_i(connection_, index(column), key, number, printer_)) return true;
    if (codes_[column] == Query_Result_Handler::VT_BOOLEAN)
      return printer_.print_bool(index(column), key, value != 0) || stop("stopped by the printer");
  }
  return printer_.print_uint(index(column), key, value) || stop("stopped by the printer");
}

bool Result_Delivery::value_double(int column, double value) {
  char const* key = (*keys_)[column].c_str();
  if (handler_) {
    if (handler_->skip_double_i(column, key, value)) return true;
    if (handler_->handle_double_i(connection_, index(column), key, value, printer_)) return true;
    if (codes_[column] == Query_Result_Handler::VT_BOOLEAN)
      return printer_.print_bool(index(column), key, value != 0) || stop("stopped by the printer");
  }
  return printer_.print_double(index(column), key, value) || stop("stopped by the printer");
}

bool Result_Delivery::json(int column, char const* text, size_t length) {
  char const* key = (*keys_)[column].c_str();
  json_spirit::Value parsed;
  std::string error;
  if (!JSON_Parse(text, length, parsed, &error)) {
    ACE_ERROR((LM_ERROR, "Column '%s' does not hold a JSON document: %s\n", key, error.c_str()));
    return printer_.print_null(index(column), key) || stop("stopped by the printer");
  }
  return printer_.print_json(index(column), key, parsed) || stop("stopped by the printer");
}

bool Result_Delivery::value_text(int column, char const* text, size_t length) {
  char const* key = (*keys_)[column].c_str();
  if (handler_) {
    if (handler_->skip_string_i(column, key, text, length)) return true;
    if (handler_->handle_string_i(connection_, index(column), key, text, length, printer_)) return true;
    switch (codes_[column]) {
      case Query_Result_Handler::VT_JSON:
        return json(column, text, length);
      case Query_Result_Handler::VT_BOOLEAN:
        return printer_.print_bool(index(column), key, text_truth(text, length)) || stop("stopped by the printer");
      default:
        break;
    }
  }
  return printer_.print_cstr(index(column), key, text, length) || stop("stopped by the printer");
}

bool Result_Delivery::value_json(int column, char const* text, size_t length) {
  int code = handler_ ? codes_[column] : Query_Result_Handler::VT_NONE;
  if (!handler_ || (code != Query_Result_Handler::VT_NONE && code != Query_Result_Handler::VT_JSON))
    return value_text(column, text, length);
  char const* key = (*keys_)[column].c_str();
  if (handler_->skip_string_i(column, key, text, length)) return true;
  if (handler_->handle_string_i(connection_, index(column), key, text, length, printer_)) return true;
  return json(column, text, length);
}

bool Result_Delivery::value_binary(int column, unsigned char const* data, size_t length) {
  char const* key = (*keys_)[column].c_str();
  if (handler_) {
    if (handler_->skip_binary_i(column, key, data, length)) return true;
    if (handler_->handle_binary_i(connection_, index(column), key, data, length, printer_)) return true;
    switch (codes_[column]) {
      case Query_Result_Handler::VT_UUID: {
        if (length != 16) return printer_.print_null(index(column), key) || stop("stopped by the printer");
        char text[36];
        UUID_Binary::format16(data, text);
        return printer_.print_cstr(index(column), key, text, sizeof text) || stop("stopped by the printer");
      }
      case Query_Result_Handler::VT_JSON:
        return json(column, reinterpret_cast<char const*>(data), length);
      default:
        break;
    }
  }
  return printer_.print_custr(index(column), key, data, length) || stop("stopped by the printer");
}

}  // namespace sql
}  // namespace database
