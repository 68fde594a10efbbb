// Texts and messages, the whole module: what a program includes that does not want to choose.
#pragma once

#include "marigold/texts.h"
#include "runtime/texte/format_language.h"
#include "runtime/texte/language.h"
#include "runtime/texte/syserr.h"
#include "runtime/texte/sysmsg.h"
#include "runtime/texte/txt.h"
