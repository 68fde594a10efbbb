// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace shop {

// The list of articles, in which the operator looks for, changes, adds and counts articles.
void maintain_articles();

// Lets the operator choose an article. False if the operator leaves the list.
bool choose_article(std::string& code);

// Codes of articles are written in capitals.
std::string in_capitals(std::string code);

}  // namespace shop
