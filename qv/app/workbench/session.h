// One run of a job file: its settings, where its results go, and how it reports.
//
// Verbs are plain functions in tables, one table a subsystem:
//
//   HRESULT hello(Session& session, const Step& step) {
//     session.record({TEXT("hello"), step.words[1]});
//     return 0;
//   }
//   constexpr Verb kVerbs[] = {{"hello", "NAME", 1, 1, "", hello}};
//
// Everything here runs on the thread that runs the job.
#pragma once

#include <initializer_list>
#include <span>

#include "qv/app/workbench/job_file.h"
#include "qv/lang/lang.h"

namespace qv::workbench {

class Session;

struct Verb {
  const char* name;
  const char* usage;    // its arguments, as a person reads them
  int minArguments;     // plain words behind the verb
  int maxArguments;     // -1: any number
  const char* options;  // keys that it takes, separated by blanks
  HRESULT (*run)(Session& session, const Step& step);
};

// A field of a record: text as it is, or a number in plain decimal digits.
struct Field {
  WString text;
  Field(const WCHAR* value) : text(value) {}           // NOLINT(google-explicit-constructor)
  Field(WString value) : text(std::move(value)) {}     // NOLINT(google-explicit-constructor)
  Field(int64_t value);                                // NOLINT(google-explicit-constructor)
  Field(int32_t value) : Field(int64_t{value}) {}      // NOLINT(google-explicit-constructor)
  Field(uint32_t value) : Field(int64_t{value}) {}     // NOLINT(google-explicit-constructor)
};

class Session {
 public:
  // language: the application's; its words, and the toolkit's, follow "set language=LCID". May be null.
  explicit Session(WString jobFile, HQVLANG language = nullptr);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Checks every line of the job first, then runs its steps in order. The result is 0 or the status of the
  // first step that failed; with "set keep-going=1" the steps behind it run all the same.
  HRESULT run();

  // Where a path of the job leads: relative ones start at the job file's folder, results at the out folder.
  WString inputPath(WStringView path) const;
  WString outputPath(WStringView path) const;

  // One line of results: the fields, separated by tabs.
  void record(std::initializer_list<Field> fields);
  // Bytes of a result as they are.
  void output(std::string_view bytes);
  // Writes all of them out, before somebody else writes to the same stream.
  void flush();
  // Gives `status` back and adds the sentence that explains it to the details of this step's report.
  HRESULT fail(HRESULT status, const WString& sentence);

  // The language of the words, the user's at first; and another one: false when it can't be had.
  LCID language() const;
  bool setLanguage(LCID lcid);

 private:
  HRESULT load();
  bool checkAhead(HRESULT& status);
  HRESULT runStep(const Step& step);
  HRESULT applySettings(const Step& step);
  HRESULT checkCall(const Verb& verb, const Step& step);
  HRESULT chooseLanguage(const WString& text);
  void report(const Step& step, HRESULT status);

  WString jobFile_;
  WString jobFolder_;
  WString outFolder_;
  HQVLANG language_;
  bool keepGoing_ = false;
  std::vector<Step> steps_;
  std::string pending_;
};

// All verbs of the workbench, table by table.
std::span<const std::span<const Verb>> verbTables();
const Verb* findVerb(WStringView name);

}  // namespace qv::workbench
