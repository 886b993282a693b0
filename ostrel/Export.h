/* Marks what the shared library exports; everything else is hidden. Also for C. */
#pragma once

#define OSTREL_EXPORT __attribute__((visibility("default")))
