// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtime/platform/system_error.h"

#include <algorithm>
#include <system_error>

namespace marigold::inner {
namespace {

// The C library has no texts for its numbers from 100 on, and other words for some below. Messages
// are the same as on Linux.
struct ErrorText {
  int number;
  const char* text;
};
constexpr ErrorText kTexts[] = {
    {EINTR, "Interrupted system call"},
    {ENOEXEC, "Exec format error"},
    {ENOMEM, "Cannot allocate memory"},
    {EBUSY, "Device or resource busy"},
    {EXDEV, "Invalid cross-device link"},
    {ENOTTY, "Inappropriate ioctl for device"},
    {ESPIPE, "Illegal seek"},
    {EDOM, "Numerical argument out of domain"},
    {ERANGE, "Numerical result out of range"},
    {EDEADLK, "Resource deadlock avoided"},
    {ENAMETOOLONG, "File name too long"},
    {EILSEQ, "Invalid or incomplete multibyte or wide character"},
    {ECANCELED, "Operation canceled"},
    {ELOOP, "Too many levels of symbolic links"},
    {ENODATA, "No data available"},
    {ENOTSUP, "Operation not supported"},
    {EOPNOTSUPP, "Operation not supported"},
    {EOVERFLOW, "Value too large for defined data type"},
    {EPROTO, "Protocol error"},
    {ETIMEDOUT, "Connection timed out"},
    {ETXTBSY, "Text file busy"},
    {kOnNetworkDrive, "File is on a network drive"},
};

}  // namespace

std::string system_error_text(int result) {
  const int number = system_number(result);
  const auto* const own = std::ranges::find(kTexts, number, &ErrorText::number);
  return own != std::end(kTexts) ? own->text : std::generic_category().message(number);
}

}  // namespace marigold::inner
