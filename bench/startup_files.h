// SPDX-License-Identifier: GPL-3.0-or-later
// What the start-up benchmark reads: text databases for scrivel and a message catalogue for gettext
// of the same 300 texts.
#pragma once

#include <string>

namespace marigold::bench {

// The text that is measured, in both of them, and what it stands for with the argument "Anna".
inline constexpr const char* kGreetingId = "GREET";
inline constexpr const char* kGreeting = "Hello %s";

inline constexpr int kTexts = 300;

// Language identifiers under which the databases are found along the default search path, at its
// fourth element: one with the program's texts alone, one that has all system texts as well, as a
// translated installation does.
inline constexpr const char* kPlainLanguage = "plain";
inline constexpr const char* kTranslatedLanguage = "translated";

// The domain and the language of the message catalogue, and its directory below that of the files.
inline constexpr const char* kDomain = "startup";
inline constexpr const char* kCatalogueLanguage = "de";
inline constexpr const char* kCatalogueDirectory = "catalogue";

// Makes all files below a directory that exists. False, with the reason on standard error, when a
// database cannot be written. The catalogue is made by msgfmt (package gettext); without it there
// is a message and no catalogue.
bool startup_files_make(const std::string& directory);

}  // namespace marigold::bench
