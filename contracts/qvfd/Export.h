// QVFD_API marks what qvfd exports from its shared library; everything else stays hidden.
#pragma once

#if defined(QVFD_STATIC)
#define QVFD_API
#elif defined(_WIN32)
#if defined(QVFD_BUILDING)
#define QVFD_API __declspec(dllexport)
#else
#define QVFD_API __declspec(dllimport)
#endif
#else
#define QVFD_API __attribute__((visibility("default")))
#endif
