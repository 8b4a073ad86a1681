// Inside the toolkit: the rows behind the error handler's words.
#pragma once

#include <span>

#include "qv/api.h"
#include "qv/frame/errors.h"

namespace qv {

// A text is a record of the language tables or plain English: what QvGetStringSmart takes.
struct StatusRow {
  uint32_t code;
  const void* text;
};
static_assert(sizeof(StatusRow) == sizeof(_qverror_table));

struct ContextRow {
  uint32_t context;
  const void* text;
};

// The built-in tables, in the order of their search. A code may stand twice; the first row is found.
QV_API std::span<const StatusRow> statusTable();
QV_API std::span<const ContextRow> contextTable();

// As at load: no details, no message, no registered tables.
void resetErrors();

}  // namespace qv
