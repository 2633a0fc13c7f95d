// PlatformSanitizer.h: QK_HAS_ADDRESS_SANITIZER, 1 where the address sanitizer watches over memory, else 0.
#pragma once

#if defined(__SANITIZE_ADDRESS__)
#define QK_HAS_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QK_HAS_ADDRESS_SANITIZER 1
#endif
#endif
#ifndef QK_HAS_ADDRESS_SANITIZER
#define QK_HAS_ADDRESS_SANITIZER 0
#endif
