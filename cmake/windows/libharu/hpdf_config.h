// SPDX-License-Identifier: GPL-3.0-or-later
// Answers of libharu's configure script for mingw-w64: with zlib, and without libpng because lists
// have no pictures.
#pragma once

#define LIBHPDF_HAVE_NOPNGLIB 1
