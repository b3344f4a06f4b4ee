#include <gtest/gtest.h>
#include "support.hpp"
