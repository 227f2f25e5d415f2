// SPDX-License-Identifier: GPL-3.0-or-later
// The one place where Asio's own code is compiled.
#include <boost/asio/impl/src.hpp>
