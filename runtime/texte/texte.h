// SPDX-License-Identifier: GPL-3.0-or-later
// Texts and messages: includes the whole module.
#pragma once

#include "marigold/texts.h"
#include "runtime/texte/format_language.h"
#include "runtime/texte/language.h"
#include "runtime/texte/syserr.h"
#include "runtime/texte/sysmsg.h"
#include "runtime/texte/txt.h"
