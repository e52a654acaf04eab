#ifndef BASALT_EXPORT_H
#define BASALT_EXPORT_H

// Marks the exported interface; everything else in libbasalt.so stays hidden.
#define BASALT_API __attribute__((visibility("default")))

#endif
