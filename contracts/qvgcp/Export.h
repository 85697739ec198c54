// QVGCP_API marks what qvgcp exports from its shared library; everything else stays hidden.
#pragma once

#if defined(QVGCP_STATIC)
#define QVGCP_API
#elif defined(_WIN32)
#if defined(QVGCP_BUILDING)
#define QVGCP_API __declspec(dllexport)
#else
#define QVGCP_API __declspec(dllimport)
#endif
#else
#define QVGCP_API __attribute__((visibility("default")))
#endif
