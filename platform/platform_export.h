/*
 * Export marker of the simulated board platform libraries. They are built with
 * hidden visibility; only what carries PLATFORM_EXPORT leaves a library.
 */
#ifndef PLATFORM_EXPORT_H
#define PLATFORM_EXPORT_H

#if defined(__GNUC__)
#define PLATFORM_EXPORT __attribute__((visibility("default")))
#else
#define PLATFORM_EXPORT
#endif

#endif /* PLATFORM_EXPORT_H */
