// What nearly every unit test includes. Precompiled only: no test relies on it.
#pragma once

#include "trees.hpp"

#include "faults.hpp"
#include "standalone_session.hpp"

#include <gtest/gtest.h>
