// SPDX-License-Identifier: MIT
//
// Which sanitizers the compiler has been told of, by the names that either compiler has for them.
#ifndef LINDRA_TESTS_SANITIZED_HPP
#define LINDRA_TESTS_SANITIZED_HPP

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define LINDRA_ADDRESS_SANITIZER
#elif __has_feature(thread_sanitizer)
#define LINDRA_THREAD_SANITIZER
#endif
#endif

#if defined(__SANITIZE_ADDRESS__) && !defined(LINDRA_ADDRESS_SANITIZER)
#define LINDRA_ADDRESS_SANITIZER
#elif defined(__SANITIZE_THREAD__) && !defined(LINDRA_THREAD_SANITIZER)
#define LINDRA_THREAD_SANITIZER
#endif

#endif
