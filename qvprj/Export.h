// QVPRJ_API marks what qvprj exports from its shared library; everything else stays hidden.
#pragma once

#if defined(QVPRJ_STATIC)
#define QVPRJ_API
#elif defined(_WIN32)
#if defined(QVPRJ_BUILDING)
#define QVPRJ_API __declspec(dllexport)
#else
#define QVPRJ_API __declspec(dllimport)
#endif
#else
#define QVPRJ_API __attribute__((visibility("default")))
#endif
