// QVSQL_API marks what qvsql exports from its shared library; everything else stays hidden.
#pragma once

#if defined(QVSQL_STATIC)
#define QVSQL_API
#elif defined(_WIN32)
#if defined(QVSQL_BUILDING)
#define QVSQL_API __declspec(dllexport)
#else
#define QVSQL_API __declspec(dllimport)
#endif
#else
#define QVSQL_API __attribute__((visibility("default")))
#endif
