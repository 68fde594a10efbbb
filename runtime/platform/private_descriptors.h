// SPDX-License-Identifier: GPL-3.0-or-later
// Descriptors of connections that a forked child must not keep: the other end would take the
// connection for open as long as the child lives, even after the parent's death.
#pragma once

namespace marigold::inner {

// A child that is forked from now on closes the descriptor at once; the caller keeps it.
void private_descriptor_add(int descriptor);
// Before the descriptor is closed, because the system gives its number to another file then.
void private_descriptor_remove(int descriptor);

// Differs between a process that has added a descriptor and a child that it has forked later: a
// question that costs no call of the system.
unsigned private_descriptor_owner();

}  // namespace marigold::inner
