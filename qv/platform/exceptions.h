// Processor faults that nobody caught, and where an address lies.
//
//   LONG CALLBACK report(EXCEPTION_POINTERS* fault) {
//     print(fault->ExceptionRecord->ExceptionCode);
//     return EXCEPTION_EXECUTE_HANDLER;   // ends the process
//   }
//   ...
//   SetUnhandledExceptionFilter(report);
#pragma once

#include "qv/api.h"
#include "qv/platform/base.h"

#ifndef _WIN32

constexpr LONG EXCEPTION_EXECUTE_HANDLER = 1, EXCEPTION_CONTINUE_SEARCH = 0;
constexpr LONG EXCEPTION_CONTINUE_EXECUTION = -1;
constexpr DWORD EXCEPTION_MAXIMUM_PARAMETERS = 15;

struct EXCEPTION_RECORD {
  DWORD ExceptionCode;
  DWORD ExceptionFlags;
  EXCEPTION_RECORD* ExceptionRecord;
  PVOID ExceptionAddress;
  DWORD NumberParameters;
  ULONG_PTR ExceptionInformation[EXCEPTION_MAXIMUM_PARAMETERS];
};
static_assert(sizeof(EXCEPTION_RECORD) == 152);

struct CONTEXT;  // the registers, in the system's own form
struct EXCEPTION_POINTERS {
  EXCEPTION_RECORD* ExceptionRecord;
  CONTEXT* ContextRecord;
};

using LPTOP_LEVEL_EXCEPTION_FILTER = LONG(WINAPI*)(EXCEPTION_POINTERS* exception);

constexpr DWORD MEM_PRIVATE = 0x20000, MEM_MAPPED = 0x40000, MEM_IMAGE = 0x1000000;

struct MEMORY_BASIC_INFORMATION {
  PVOID BaseAddress;
  PVOID AllocationBase;
  DWORD AllocationProtect;
  WORD PartitionId;
  SIZE_T RegionSize;
  DWORD State;
  DWORD Protect;
  DWORD Type;
};
static_assert(sizeof(MEMORY_BASIC_INFORMATION) == 48);

// Puts the filter in place that is called, on the faulting thread, for a fault that no one else handles: an
// access violation (0xc0000005; parameters: 0 read, 1 write, 8 execute, and the address), an in-page error
// (0xc0000006), an illegal instruction (0xc000001d), a division (0xc0000094), floating point (0xc000008d to
// 0xc0000093), a stack overflow (0xc00000fd). Null takes it away. Gives the one before.
//
// EXCEPTION_EXECUTE_HANDLER ends the process with the exception's code as its exit code, of which a Linux
// parent sees the low eight bits; EXCEPTION_CONTINUE_SEARCH leaves it to the system, which ends the process
// in its own way; EXCEPTION_CONTINUE_EXECUTION runs the instruction again.
//
// On Linux faults of guarded calls (processor.h) never come here; a second fault while a filter runs, or a
// filter that takes longer than 30 seconds, ends the process with a line on standard error.
QV_API LPTOP_LEVEL_EXCEPTION_FILTER SetUnhandledExceptionFilter(LPTOP_LEVEL_EXCEPTION_FILTER filter);

// Keeps at least so many bytes of stack for the calling thread's filter after a stack overflow; *bytes
// becomes what was kept before. On Linux a thread that never called it dies of an overflow in silence.
QV_API BOOL SetThreadStackGuarantee(ULONG* bytes);

// Whether a debugger watches the process.
QV_API BOOL IsDebuggerPresent();

// The pages around an address: where they begin and end, what they are, and in AllocationBase where the
// allocation, or the module, begins. size: of the record, 48. Gives 48, or 0 for an address beyond the
// user's.
QV_API SIZE_T VirtualQuery(LPCVOID address, MEMORY_BASIC_INFORMATION* information, SIZE_T size);

// As GetModuleFileNameW, in the process's 8-bit code page; on Linux in the system's own spelling. A module
// may also be given by the address where it begins.
QV_API DWORD GetModuleFileNameA(HMODULE module, LPSTR path, DWORD capacity);

#endif

namespace qv::platform {

// What a filter may use of the stack after an overflow.
constexpr ULONG kFilterStack = 128 * 1024;

// Puts a filter in place for the whole process, stack overflows of the calling thread included, on Windows
// those of every thread: there a thread of its own runs the filter when the overflowing one has no room for
// it. Main thread; the filter is not null and stays.
QV_API void catchFaults(LPTOP_LEVEL_EXCEPTION_FILTER filter);

}  // namespace qv::platform
