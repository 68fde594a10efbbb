// SPDX-License-Identifier: GPL-3.0-or-later
// Files for the start-up benchmark: text databases for scrivel and a message catalogue for gettext,
// with the same 300 texts.
#pragma once

#include <string>

namespace marigold::inner::bench {

// The measured text, in both of them, and the result with the argument "Anna".
inline constexpr const char* kGreetingId = "GREET";
inline constexpr const char* kGreeting = "Hello %s";

inline constexpr int kTexts = 300;

// Language identifiers under which the default search path finds the databases, at its fourth
// element: one with the program's texts alone, one that also has all system texts, as in a
// translated installation.
inline constexpr const char* kPlainLanguage = "plain";
inline constexpr const char* kTranslatedLanguage = "translated";

// The domain and the language of the message catalogue, and its directory below that of the files.
inline constexpr const char* kDomain = "startup";
inline constexpr const char* kCatalogueLanguage = "de";
inline constexpr const char* kCatalogueDirectory = "catalogue";

// Makes all files below an existing directory. Returns false, with the reason on standard error, if
// a database cannot be written. msgfmt (package gettext) makes the catalogue; without it there is a
// message and no catalogue.
bool startup_files_make(const std::string& directory);

}  // namespace marigold::inner::bench
