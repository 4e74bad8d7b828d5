// The kernel's virtual host controller, vhci-hcd: it takes one end of a connection and shows the
// device at the other end as if it were plugged in.
#pragma once

#include <string>

namespace vreader
{

// Attaches a device and gives its end of the connection; -1 and an error text that says what to do.
int AttachToKernel(std::string *error);

} // namespace vreader
