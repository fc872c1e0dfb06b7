#pragma once

// What the tests of the library and of whole streams take for granted: googletest, the standard
// library's everyday part, statuses, the log, streams and files.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <future>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "expect_log.h"
#include "status.h"
#include "stream_config.h"
#include "test_folder.h"
