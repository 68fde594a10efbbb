// SPDX-License-Identifier: GPL-3.0-or-later
// Texts of the shop by their ids, and the short conversations with the operator that are made of
// them. In each text "%s" takes the next of the values.
#pragma once

#include <string>
#include <vector>

namespace shop {

using Values = std::vector<std::string>;

std::string text(const char* id, const Values& values = {});

// An amount of money as "1.234,50", a date as "14.11.26".
std::string money_text(double amount);
std::string day_text(int date);

// A number by which dates are in order: years from 70 on are those of the last century.
int order_of_day(int date);

// Shows a line, or a longer text in a box, and waits for a key.
void tell(const char* id, const Values& values = {});
void warn(const char* id, const Values& values = {});

// Asks a question of at most 40 characters, to be answered by yes or no. Escape is no.
bool confirm(const char* question, const Values& values = {});

// Writes a sentence below the screen, where it stays after the end of the program.
void tell_below_the_screen(const std::string& sentence);

}  // namespace shop
