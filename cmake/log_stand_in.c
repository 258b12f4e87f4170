/* Replaces liblog on systems without it: one line per message on standard error. */
#include <stdarg.h>
#include <stdio.h>

int __android_log_print(int priority, const char* tag, const char* format, ...);

int __android_log_print(int priority, const char* tag, const char* format, ...) {
  char text[1024];
  va_list args;
  va_start(args, format);
  vsnprintf(text, sizeof text, format, args);
  va_end(args);
  return fprintf(stderr, "%d %s: %s\n", priority, tag, text);
}
