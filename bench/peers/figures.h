#pragma once

#include <stdio.h>
#include <sys/resource.h>
#include <time.h>

/* What every reader prints, "ENTRIES WALL_SECONDS CPU_SECONDS PEAK_KIB". C, since one of the libraries is. */

static inline double secondsOf(clockid_t clock)
{
    struct timespec now;
    clock_gettime(clock, &now);
    return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
}

struct Start
{
    double wall;
    double cpu;
};

static inline struct Start startReading(void)
{
    struct Start start;
    start.wall = secondsOf(CLOCK_MONOTONIC);
    start.cpu = secondsOf(CLOCK_PROCESS_CPUTIME_ID);
    return start;
}

static inline void printReading(struct Start start, size_t entries)
{
    const double wall = secondsOf(CLOCK_MONOTONIC) - start.wall;
    const double cpu = secondsOf(CLOCK_PROCESS_CPUTIME_ID) - start.cpu;
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    printf("%zu %.4f %.4f %ld\n", entries, wall, cpu, usage.ru_maxrss);
}
