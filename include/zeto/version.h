/** @file
 *  The version of these headers, for the preprocessor. The numbers that the cores print are fixed texts: do not compare
 *  those.
 */
#ifndef ZETO_VERSION_H
#define ZETO_VERSION_H

#define ZETO_VERSION_MAJOR 1 /**< counts incompatible changes */
#define ZETO_VERSION_MINOR 0 /**< counts additions */
#define ZETO_VERSION_PATCH 0 /**< counts corrections */

/** The three, joined by dots: "1.0.0". */
#define ZETO_VERSION_STRING ZETO_VERSION_TEXT(ZETO_VERSION_MAJOR, ZETO_VERSION_MINOR, ZETO_VERSION_PATCH)
#define ZETO_VERSION_TEXT(major, minor, patch) ZETO_VERSION_JOINED(major, minor, patch) /**< expands the numbers */
#define ZETO_VERSION_JOINED(major, minor, patch) #major "." #minor "." #patch           /**< joins them as text */

/** A version as one number, to be compared: `#if ZETO_VERSION >= ZETO_VERSION_NUMBER(1, 2, 0)`. */
#define ZETO_VERSION_NUMBER(major, minor, patch) ((major)*10000 + (minor)*100 + (patch))
/** The version of these headers as such a number. */
#define ZETO_VERSION ZETO_VERSION_NUMBER(ZETO_VERSION_MAJOR, ZETO_VERSION_MINOR, ZETO_VERSION_PATCH)

#endif
