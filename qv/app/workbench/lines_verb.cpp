// lines: a text file of up to a million lines in a list of each kind, worked on with the list's own operations.

#include <cstring>
#include <memory>

#include "qv/app/workbench/files.h"
#include "qv/app/workbench/verbs.h"
#include "qv/core/list.h"
#include "qv/frame/status.h"

namespace qv::workbench {
namespace {

constexpr uint64_t kMaxFileBytes = uint64_t{1} << 31;
constexpr int32_t kMaxLines = 1000 * 1000;
constexpr int32_t kGrowLines = 65536;

// What the list holds in each kind: a pointer to a line, a block with a line, or the line's record itself.
struct Line {
  uint64_t size;
  const char* text;
  std::string_view view() const { return {text, static_cast<size_t>(size)}; }
};

// A heap item carries its bytes behind its size, so that the list owns the whole line.
struct HeapLine {
  uint64_t size;
  std::string_view view() const { return {reinterpret_cast<const char*>(this + 1), static_cast<size_t>(size)}; }
};

int compareBytes(std::string_view a, std::string_view b) { return a.compare(b); }

template <typename Item>
int32_t CALLBACK compareItems(int64_t, const void* a, const void* b) {
  return compareBytes(static_cast<const Item*>(a)->view(), static_cast<const Item*>(b)->view());
}

template <typename Item>
int32_t CALLBACK matchItem(const void* key, const void* item) {
  const auto& wanted = *static_cast<const std::string_view*>(key);
  return static_cast<const Item*>(item)->view().find(wanted) == std::string_view::npos ? 1 : 0;
}

struct Kind {
  const WCHAR* name;
  uint32_t options;
  uint64_t itemSize;
  QvListCompareProc compare;
  QvListMatchProc match;
};

constexpr Kind kKinds[] = {
    {TEXT("pointer"), 0x40000000u, 8, compareItems<Line>, matchItem<Line>},
    {TEXT("heap"), 0x40000002u, 8, compareItems<HeapLine>, matchItem<HeapLine>},
    {TEXT("inline"), 0x40000004u, sizeof(Line), compareItems<Line>, matchItem<Line>},
};

// A list of one kind and what its items point to.
class LineList {
 public:
  LineList(const Kind& kind, const std::vector<Line>& lines) : kind_(kind), lines_(lines) {}
  ~LineList() { QvList_Destroy(list_); }
  LineList(const LineList&) = delete;
  LineList& operator=(const LineList&) = delete;

  HRESULT create() {
    return QvList_CreateExZ(&list_, kind_.itemSize, kGrowLines, kGrowLines, kind_.options, 0, 0, 0);
  }

  HRESULT fill() {
    HRESULT status = kOk;
    for (size_t i = 0; i < lines_.size() && !FAILED(status); ++i) status = append(lines_[i]);
    return status;
  }

  HRESULT append(const Line& line) {
    const Line* address = &line;
    if (kind_.options & 4) return QvList_InsertList(list_, -1, &line, 1);
    if ((kind_.options & 2) == 0) return QvList_InsertList(list_, -1, &address, 1);
    void* block = nullptr;
    const HRESULT status = QvList_AllocItem(list_, sizeof(HeapLine) + line.size, &block);
    if (FAILED(status)) return status;
    static_cast<HeapLine*>(block)->size = line.size;
    memcpy(static_cast<HeapLine*>(block) + 1, line.text, static_cast<size_t>(line.size));
    return QvList_InsertList(list_, -1, nullptr, -1);
  }

  std::string_view at(int32_t index) const {
    const char* slot = static_cast<const char*>(list_->data) + static_cast<uint64_t>(index) * list_->itemSize;
    if (kind_.options & 4) return reinterpret_cast<const Line*>(slot)->view();
    const void* item = *reinterpret_cast<void* const*>(slot);
    return kind_.options & 2 ? static_cast<const HeapLine*>(item)->view() : static_cast<const Line*>(item)->view();
  }

  tQVLIST* get() const { return list_; }
  int32_t count() const { return list_->itemCount; }
  const Kind& kind() const { return kind_; }

 private:
  const Kind& kind_;
  const std::vector<Line>& lines_;
  tQVLIST* list_ = nullptr;
};

HRESULT splitLines(Session& session, const std::string& bytes, std::vector<Line>& lines) {
  for (size_t at = 0; at < bytes.size();) {
    const size_t end = std::min(bytes.find('\n', at), bytes.size());
    if (lines.size() == static_cast<size_t>(kMaxLines)) {
      return session.fail(kBadFormat, TEXT("The file has more than 1,000,000 lines."));
    }
    lines.push_back({end - at, bytes.data() + at});
    at = end + 1;
  }
  return kOk;
}

const Kind* findKind(const WString& name) {
  for (const Kind& kind : kKinds) {
    if (name == kind.name) return &kind;
  }
  return nullptr;
}

struct Request {
  const Kind* kind = nullptr;
  bool selection = false;
  const WString* out = nullptr;
};

HRESULT readRequest(Session& session, const Step& step, Request& request) {
  const WString* kind = step.option(TEXT("kind"));
  const WString* method = step.option(TEXT("method"));
  request.kind = findKind(kind != nullptr ? *kind : WString(TEXT("pointer")));
  request.selection = method != nullptr && *method == TEXT("selection");
  request.out = step.option(TEXT("out"));
  if (request.kind == nullptr) {
    return session.fail(kInvalidArgument, TEXT("The kind is pointer, heap or inline."));
  }
  if (method != nullptr && !request.selection && *method != TEXT("heap")) {
    return session.fail(kInvalidArgument, TEXT("The method is heap or selection."));
  }
  return kOk;
}

HRESULT sortLines(const LineList& list, const Request& request) {
  const auto sort = request.selection ? QvList_Sort : QvList_HeapSort;
  return sort(list.get(), 0, list.kind().compare);
}

// Lines are written with a line feed behind each, the last one too.
HRESULT writeLines(Session& session, const Step& step, const LineList& list, const Request& request) {
  std::string text;
  for (int32_t i = 0; i < list.count(); ++i) text.append(list.at(i)).push_back('\n');
  if (request.out == nullptr) {
    session.output(text);
    return kOk;
  }
  const HRESULT status = writeFile(session.outputPath(*request.out), text);
  if (FAILED(status)) return session.fail(status, TEXT("The result could not be written: ") + *request.out);
  const WCHAR* work = step.words.size() > 2 ? step.words[2].c_str() : TEXT("slice");
  session.record({TEXT("lines"), work, list.kind().name, list.count(), *request.out});
  return kOk;
}

HRESULT findLines(Session& session, const LineList& list, const WString& text) {
  const std::string wanted = encodeUtf8(text);
  std::string_view key = wanted;
  int32_t found = -1;
  while ((found = QvList_FindItemRange(list.get(), found + 1, -1, &key, list.kind().match)) >= 0) {
    WString line;
    if (!decodeUtf8(list.at(found), line)) line = TEXT("(not UTF-8)");
    session.record({found + 1, line});
    if (found + 1 == list.count()) break;
  }
  return kOk;
}

HRESULT uniqueLines(Session& session, const Step& step, const LineList& list, const std::vector<Line>& lines,
                    const Request& request) {
  LineList kept(list.kind(), lines);
  HRESULT status = kept.create();
  std::vector<Line> distinct;
  for (int32_t i = 0; i < list.count(); ++i) {
    if (i > 0 && list.at(i) == list.at(i - 1)) continue;
    const std::string_view view = list.at(i);
    distinct.push_back({view.size(), view.data()});
  }
  for (size_t i = 0; i < distinct.size() && !FAILED(status); ++i) status = kept.append(distinct[i]);
  return FAILED(status) ? status : writeLines(session, step, kept, request);
}

HRESULT sliceLines(Session& session, const Step& step, const LineList& list, const WString& range,
                   const Request& request) {
  const size_t comma = range.find(',');
  int64_t from = 0;
  int64_t count = 0;
  if (comma == WString::npos || !parseInteger(range.substr(0, comma), from) ||
      !parseInteger(range.substr(comma + 1), count) || from < 0 || from > kMaxLines || count > kMaxLines) {
    return session.fail(kInvalidArgument, TEXT("A slice is FROM,COUNT: the first line is 0; a COUNT below 0 means the rest."));
  }
  const int32_t first = static_cast<int32_t>(std::min<int64_t>(from, list.count()));
  const int32_t rest = list.count() - first;
  const int32_t kept = count < 0 ? rest : static_cast<int32_t>(std::min<int64_t>(count, rest));
  HRESULT status = kOk;
  if (kept < rest) status = QvList_DeleteList(list.get(), first + kept, -1, 1);
  if (!FAILED(status)) status = QvList_DeleteList(list.get(), 0, first, 1);
  return FAILED(status) ? status : writeLines(session, step, list, request);
}

HRESULT runLines(Session& session, const Step& step) {
  Request request;
  if (const HRESULT status = readRequest(session, step, request); FAILED(status)) return status;
  std::string bytes;
  HRESULT status = readFile(session.inputPath(step.words[1]), kMaxFileBytes, bytes);
  if (FAILED(status)) return session.fail(status, TEXT("The file could not be read: ") + step.words[1]);
  std::vector<Line> lines;
  if (status = splitLines(session, bytes, lines); FAILED(status)) return status;
  LineList list(*request.kind, lines);
  status = list.create();
  if (!FAILED(status)) status = list.fill();
  if (FAILED(status)) return session.fail(status, TEXT("The system is low on memory."));

  const WString work = step.words.size() > 2 ? step.words[2] : WString();
  if (const WString* text = step.option(TEXT("find")); text != nullptr) return findLines(session, list, *text);
  if (const WString* range = step.option(TEXT("slice")); range != nullptr) {
    return sliceLines(session, step, list, *range, request);
  }
  if (work != TEXT("sort") && work != TEXT("unique")) {
    return session.fail(kInvalidArgument, TEXT("The work is sort, unique, find=TEXT or slice=FROM,COUNT."));
  }
  if (status = sortLines(list, request); FAILED(status)) return status;
  return work == TEXT("unique") ? uniqueLines(session, step, list, lines, request)
                                : writeLines(session, step, list, request);
}

constexpr Verb kVerbs[] = {
    {"lines", "FILE sort|unique|find=TEXT|slice=FROM,COUNT [kind=pointer|heap|inline] [method=heap|selection] [out=FILE]",
     1, 2, "find slice kind method out", runLines},
};

}  // namespace

std::span<const Verb> linesVerbs() { return kVerbs; }

}  // namespace qv::workbench
