// Names that match a pattern, as the platform's file system matches them.
#pragma once

#include <bitset>
#include <string>
#include <string_view>

#include "qv/platform/linux/paths.h"
#include "qv/platform/text.h"

namespace qv::platform {

// The file system's own wildcards, which a pattern's are turned into: a star that stops before the last dot,
// a question mark that may stand for nothing before a dot and at the end, and a dot that may at the end.
inline constexpr WCHAR kDotStar = '<', kQuestion = '>', kDot = '"';

class NamePattern {
 public:
  explicit NamePattern(std::u16string_view text) {
    // Dots and blanks at the end don't count, but "*." asks for names without a dot.
    size_t end = text.find_last_not_of(u". ") + 1;
    bool dotAtEnd = text.substr(end).find(u'.') != text.npos;
    text_ = text.substr(0, end);
    matchesAll_ = text_ == u"*.*" || (text_ == u"*" && !dotAtEnd);
    for (size_t i = 0; i < text_.size(); ++i) {
      WCHAR next = i + 1 < text_.size() ? text_[i + 1] : 0;
      bool last = next == 0 && dotAtEnd;
      if (text_[i] == '?') text_[i] = kQuestion;
      if (text_[i] == '.' && (next == '?' || next == '*')) text_[i] = kDot;
      if (text_[i] == '*' && (next == '.' || last)) text_[i] = kDotStar;
    }
    CharUpperBuffW(text_.data(), static_cast<DWORD>(text_.size()));
  }

  bool matches(std::u16string name) const {
    if (matchesAll_) return true;
    CharUpperBuffW(name.data(), static_cast<DWORD>(name.size()));
    size_t lastDot = name.find_last_of(u'.');
    Places places;
    places.set(0);
    for (size_t i = 0; i < name.size() && places.any(); ++i) places = after(places, name[i], i == lastDot);
    return atEnd(places);
  }

 private:
  // The places in the pattern that may be reached.
  using Places = std::bitset<kMaxName + 1>;

  Places after(Places places, WCHAR c, bool lastDot) const {
    Places next;
    for (size_t i = 0; i < text_.size(); ++i) {
      if (!places[i]) continue;
      WCHAR token = text_[i];
      bool star = token == '*' || token == kDotStar;
      if (star || (token == kQuestion && c == '.')) places.set(i + 1);
      if (token == '*' || (token == kDotStar && !lastDot)) next.set(i);
      if ((token == kQuestion && c != '.') || (token == kDot && c == '.') || token == c) next.set(i + 1);
    }
    return next;
  }
  bool atEnd(Places places) const {
    for (size_t i = 0; i < text_.size(); ++i) {
      bool mayBeNothing = std::u16string_view(u"*<>\"").find(text_[i]) != std::u16string_view::npos;
      if (places[i] && mayBeNothing) places.set(i + 1);
    }
    return places[text_.size()];
  }

  std::u16string text_;
  bool matchesAll_;
};

}  // namespace qv::platform
