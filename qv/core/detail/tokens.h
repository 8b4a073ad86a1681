// The formatter's named tokens: one table for the process, under one lock.
//
//   initializeTokens();   // early at start-up
//   QvPrintF_AddToken(TEXT("AppName"), TEXT("Mixer"));
//   ...
//   terminateTokens();    // late at the end
#pragma once

#include "qv/core/detail/text_sink.h"

namespace qv {

// Creates the table, once; false when that fails. Start-up's: no other thread may be formatting.
bool initializeTokens();

// Releases the table and every token in it.
void terminateTokens();

enum class TokenResult { missing, fitted, cut };

// Copies a token's value while the table is held, so that another thread may replace it at any time.
TokenResult putToken(TextSink& out, const WCHAR* name);

// Defines the separators of timecode and musical positions from the international record, and their labels
// in the kernel's language.
void defineSeparatorTokens();

}  // namespace qv
