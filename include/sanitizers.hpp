// Which sanitizer a file is compiled for, as 0 or 1: g++ and clang each say it in their own way.
#pragma once

#if defined(__SANITIZE_ADDRESS__)
#define PKG_DBE_XML_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#define PKG_DBE_XML_ADDRESS_SANITIZER __has_feature(address_sanitizer)
#else
#define PKG_DBE_XML_ADDRESS_SANITIZER 0
#endif

#if defined(__SANITIZE_THREAD__)
#define PKG_DBE_XML_THREAD_SANITIZER 1
#elif defined(__has_feature)
#define PKG_DBE_XML_THREAD_SANITIZER __has_feature(thread_sanitizer)
#else
#define PKG_DBE_XML_THREAD_SANITIZER 0
#endif
