#pragma once

// Forced into the product's files, before all else: std::mutex with a destructor that does
// something, as in C++ libraries that do not know pthread_mutex_destroy to be a formality.
#include <version>
#if defined(_LIBCPP_VERSION)
#undef _LIBCPP_HAS_TRIVIAL_MUTEX_DESTRUCTION
#else
#define _GTHREAD_USE_MUTEX_INIT_FUNC
#endif
