/* Marks what the shared library exports; everything else is hidden. Also for C. */
#pragma once

/* Stands between `class` and the name, or in front of a function. */
#define OSTREL_EXPORT __attribute__((visibility("default")))

/* Takes a private step of an exported class out again. Not for what functions in headers call. */
#define OSTREL_LOCAL __attribute__((visibility("hidden")))
