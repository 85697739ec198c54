// QVMATH_API marks what qvmath exports from its shared library; everything else stays hidden.
#pragma once

#if defined(QVMATH_STATIC)
#define QVMATH_API
#elif defined(_WIN32)
#if defined(QVMATH_BUILDING)
#define QVMATH_API __declspec(dllexport)
#else
#define QVMATH_API __declspec(dllimport)
#endif
#else
#define QVMATH_API __attribute__((visibility("default")))
#endif
