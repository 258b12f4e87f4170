/** @file
 *  The version of these headers, for the preprocessor. The release's version is the only one that a host compares; what
 *  the cores print about themselves are other numbers, fixed by the interface.
 */
#ifndef ZETO_VERSION_H
#define ZETO_VERSION_H

#define ZETO_VERSION_MAJOR 1        /**< changes with incompatible changes */
#define ZETO_VERSION_MINOR 0        /**< changes with additions */
#define ZETO_VERSION_PATCH 0        /**< changes with corrections */
#define ZETO_VERSION_STRING "1.0.0" /**< the three, joined by dots */

/** One number to compare: `#if ZETO_VERSION >= ZETO_VERSION_NUMBER(1, 2, 0)`. */
#define ZETO_VERSION_NUMBER(major, minor, patch) ((major)*10000 + (minor)*100 + (patch))
/** The version of these headers as such a number. */
#define ZETO_VERSION ZETO_VERSION_NUMBER(ZETO_VERSION_MAJOR, ZETO_VERSION_MINOR, ZETO_VERSION_PATCH)

#endif
