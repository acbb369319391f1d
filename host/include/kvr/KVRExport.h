#pragma once

/** Marks what a shared library offers; everything else is hidden. */
#define KVR_API __attribute__((visibility("default")))
