#include "qv/platform/linux/package_database.h"

#include <cstdint>
#include <cstdio>

namespace qv::platform {
namespace {

constexpr size_t kLongestField = 4096;
constexpr size_t kMostPackages = 100000;
constexpr std::string_view kBlanks = " \t\r";

std::string_view trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

struct Paragraph {
  std::string_view name, architecture, version, maintainer, status;
};

struct FieldRow {
  std::string_view name;
  std::string_view Paragraph::*place;
};
constexpr FieldRow kFields[] = {
    {"Package", &Paragraph::name},    {"Architecture", &Paragraph::architecture},
    {"Version", &Paragraph::version}, {"Maintainer", &Paragraph::maintainer},
    {"Status", &Paragraph::status},
};

void takeLine(std::string_view line, Paragraph& paragraph) {
  const size_t colon = line.find(':');
  if (colon == line.npos || line.size() > kLongestField) return;
  for (const FieldRow& row : kFields) {
    if (line.substr(0, colon) == row.name) paragraph.*row.place = trimmed(line.substr(colon + 1));
  }
}

// FNV-1a, begun in two places for 128 bits.
uint64_t hashOf(uint64_t start, std::string_view text) {
  constexpr uint64_t kPrime = 0x100000001b3;
  for (const char each : text) start = (start ^ static_cast<uint8_t>(each)) * kPrime;
  return start;
}

// A code that says of itself that it is made by a rule of its maker's own: version 8, variant 1.
std::string codeOf(const std::string& name) {
  const uint64_t high = (hashOf(0xcbf29ce484222325, name) & ~0xf000ull) | 0x8000;
  const uint64_t low = (hashOf(0x84222325cbf29ce4, name) & ~(3ull << 62)) | (2ull << 62);
  char text[39];
  snprintf(text, sizeof text, "{%08X-%04X-%04X-%04X-%012llX}", static_cast<unsigned>(high >> 32),
           static_cast<unsigned>(high >> 16 & 0xffff), static_cast<unsigned>(high & 0xffff),
           static_cast<unsigned>(low >> 48), static_cast<unsigned long long>(low & 0xffffffffffff));
  return text;
}

void takeParagraph(const Paragraph& paragraph, std::vector<InstalledPackage>& packages) {
  if (paragraph.name.empty() || !paragraph.status.ends_with(" installed")) return;
  const std::string_view publisher = trimmed(paragraph.maintainer.substr(0, paragraph.maintainer.find('<')));
  const std::string full = std::string(paragraph.name).append(":").append(paragraph.architecture);
  packages.push_back(
      {codeOf(full), std::string(paragraph.name), std::string(paragraph.version), std::string(publisher)});
}

}  // namespace

std::vector<InstalledPackage> readPackages(std::string_view text) {
  std::vector<InstalledPackage> packages;
  Paragraph paragraph;
  while (!text.empty() && packages.size() < kMostPackages) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(line.size() < text.size() ? line.size() + 1 : line.size());
    if (trimmed(line).empty()) {
      takeParagraph(paragraph, packages);
      paragraph = {};
    } else {
      takeLine(line, paragraph);
    }
  }
  if (packages.size() < kMostPackages) takeParagraph(paragraph, packages);
  return packages;
}

}  // namespace qv::platform
