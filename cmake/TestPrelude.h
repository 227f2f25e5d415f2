// SPDX-License-Identifier: GPL-3.0-or-later
// The precompiled header of the tests. Each file still includes what it uses.
#pragma once

#include "Prelude.h"

#include <filesystem>
#include <fstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
