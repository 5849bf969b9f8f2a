// Whether a sanitizer looks on, which has memory of its own and needs addresses without end.
#pragma once

#if defined(__SANITIZE_ADDRESS__)
#define QOR_TEST_IS_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer)
#define QOR_TEST_IS_SANITIZED 1
#endif
#endif

#ifndef QOR_TEST_IS_SANITIZED
#define QOR_TEST_IS_SANITIZED 0
#endif

namespace qor::test {

inline constexpr bool kIsSanitized = QOR_TEST_IS_SANITIZED;

}  // namespace qor::test
