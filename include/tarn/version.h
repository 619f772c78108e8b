/* The version of tarn that these headers belong to. Usable from C11, C++20 and resource scripts.
 * A change of the first number means that hosts and companion modules have to be compiled anew. */
#ifndef TARN_VERSION_H
#define TARN_VERSION_H

#define TARN_VERSION_MAJOR 0
#define TARN_VERSION_MINOR 1
#define TARN_VERSION_PATCH 0
#define TARN_VERSION_STRING "0.1.0"

#endif /* TARN_VERSION_H */
