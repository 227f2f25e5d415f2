// SPDX-License-Identifier: GPL-3.0-or-later
// Compiles Asio, once for the program.
#include <boost/asio/impl/src.hpp>
