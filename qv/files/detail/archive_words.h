// Words for the statuses that only archives give.
#pragma once

namespace qv::files {

// Registers them with the error handler, once in a process. A step of its own, for who shows messages: the
// program in front of a self-extracting archive does without the error handler. Any thread.
void addArchiveWords();

}  // namespace qv::files
