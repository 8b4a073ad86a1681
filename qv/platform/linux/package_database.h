// The package database of Debian and its relatives: paragraphs of fields, one an installed or removed
// package.
//
//   for (const InstalledPackage& package : readPackages(bytes)) use(package.name, package.version);
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qv::platform {

struct InstalledPackage {
  std::string code;  // 38 characters: {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}
  std::string name, version, publisher;
};

// The packages that are installed whole, in the order of the text. Any bytes will do: what is no field, a
// field longer than 4096 bytes and a paragraph without a name are passed over, and packages beyond the first
// hundred thousand are not looked at.
std::vector<InstalledPackage> readPackages(std::string_view text);

}  // namespace qv::platform
