#ifndef QD_ORVEL_EXPORT_H
#define QD_ORVEL_EXPORT_H

// Everything in the library is hidden unless it carries this mark. Exception classes need it above all:
// without a shared typeinfo, `catch (QD_OrvelException&)` in the application would miss what the library throws.
#if defined(_WIN32)
#if defined(QD_ORVEL_BUILD)
#define QD_ORVEL_EXPORT __declspec(dllexport)
#else
#define QD_ORVEL_EXPORT __declspec(dllimport)
#endif
#else
#define QD_ORVEL_EXPORT __attribute__((visibility("default")))
#endif

#endif
