// The one macro that marks what libQZUtils.so offers: everything else in the library is hidden. Programs see
// the same attribute, so that exceptions and types compare equal on both sides whatever their own visibility
// is.
#pragma once

#define QZ_EXPORT __attribute__((visibility("default")))
