/* Marks what the shared library exports; everything else is hidden. Also for C. */
#pragma once

/* Stands between `class` and the name, or in front of a function. */
#define OSTREL_EXPORT __attribute__((visibility("default")))
