/* The version of tarn that these headers belong to. Usable from C11, C++20 and resource scripts.
 * Hosts and companion modules have to be compiled anew when the first number changes and, while it is 0, when the
 * second one does. */
#ifndef TARN_VERSION_H
#define TARN_VERSION_H

#define TARN_VERSION_MAJOR 0
#define TARN_VERSION_MINOR 1
#define TARN_VERSION_PATCH 0
#define TARN_VERSION_STRING "0.1.0"

#endif /* TARN_VERSION_H */
