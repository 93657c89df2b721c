// SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
// SPDX-License-Identifier: LicenseRef-Vantorel
/* Runs a command in a control group and prints every line of its output with the milliseconds
 * since its start. Then it prints the cost: wall time, processor time of the group including
 * daemons, and the peak of the total memory of the group's processes.
 *
 * Usage: measure GROUP-DIRECTORY COMMAND...
 */
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

enum { samplePeriod = 250 }; /* ms; a sample reads the page tables of the processes */

static char group[256];
static struct timespec begin;
static long resident, anonymous, samples; /* KiB, peak sums */

static long Passed(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (now.tv_sec - begin.tv_sec) * 1000 + (now.tv_nsec - begin.tv_nsec) / 1000000;
}

static FILE* Open(const char* format, const char* name) {
    char path[512];
    snprintf(path, sizeof path, format, name);
    return fopen(path, "r");
}

/* The group's processor time, in microseconds. */
static long long GroupTime(void) {
    long long time = -1;
    FILE* file = Open("%s/cpu.stat", group);
    if (file == NULL || fscanf(file, "usage_usec %lld", &time) != 1) {
        perror("cpu.stat");
        exit(2);
    }
    fclose(file);
    return time;
}

static void Sample(void) {
    long sums[2] = {0};
    char process[32], line[128];
    long value;
    FILE* list = Open("%s/cgroup.procs", group);
    while (list != NULL && fgets(process, sizeof process, list) != NULL) {
        process[strcspn(process, "\n")] = 0;
        FILE* file = Open("/proc/%s/smaps_rollup", process);
        while (file != NULL && fgets(line, sizeof line, file) != NULL) {
            sums[0] += sscanf(line, "Rss: %ld", &value) == 1 ? value : 0;
            sums[1] += sscanf(line, "Anonymous: %ld", &value) == 1 ? value : 0;
        }
        if (file != NULL) {
            fclose(file);
        }
    }
    if (list != NULL) {
        fclose(list);
    }
    resident = sums[0] > resident ? sums[0] : resident;
    anonymous = sums[1] > anonymous ? sums[1] : anonymous;
    ++samples;
}

/* Passes on the available output, each line prefixed with its time. */
static void Pass(int from) {
    static char rest[4096];
    static size_t length;
    ssize_t count = read(from, rest + length, sizeof rest - 1 - length);
    if (count <= 0) {
        return;
    }
    length += (size_t)count;
    rest[length] = 0;
    char* line = rest;
    for (char* end = strpbrk(line, "\r\n"); end != NULL; end = strpbrk(line, "\r\n")) {
        *end = 0;
        if (*line != 0) {
            printf("%ld %s\n", Passed(), line);
        }
        line = end + 1;
    }
    length = strlen(line);
    memmove(rest, line, length);
    if (length == sizeof rest - 1) { /* a line without an end fills the buffer */
        length = 0;
    }
}

int main(int count, char** arguments) {
    int output[2], status = 0;
    if (count < 3 || pipe(output) != 0) {
        fprintf(stderr, "usage: measure GROUP-DIRECTORY COMMAND...\n");
        return 2;
    }
    snprintf(group, sizeof group, "%s", arguments[1]);
    const long long groupBefore = GroupTime();
    clock_gettime(CLOCK_MONOTONIC, &begin);
    const pid_t child = fork();
    if (child == 0) {
        char path[512];
        snprintf(path, sizeof path, "%s/cgroup.procs", group);
        FILE* list = fopen(path, "w");
        fprintf(list, "%d\n", getpid());
        fclose(list);
        dup2(output[1], 1);
        dup2(output[1], 2);
        close(output[0]);
        close(output[1]);
        execvp(arguments[2], arguments + 2);
        _exit(127);
    }
    close(output[1]);
    struct pollfd reader = {output[0], POLLIN, 0};
    long next = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
        const long now = Passed();
        if (now >= next) {
            Sample();
            next = now + samplePeriod;
        }
        /* The child's end also ends the wait, unless a daemon keeps the pipe open. */
        if (poll(&reader, 1, (int)(next - now) < 20 ? (int)(next - now) : 20) > 0) {
            if ((reader.revents & POLLIN) != 0) {
                Pass(output[0]);
            } else {
                usleep(1000);
            }
        }
    }
    const long wall = Passed();
    /* Only what is there already: a daemon that keeps the pipe open may never write again. */
    while (poll(&reader, 1, 0) > 0 && (reader.revents & POLLIN) != 0) {
        Pass(output[0]);
    }
    printf("measured wall %ld group %lld resident %ld anonymous %ld samples %ld status %d\n", wall,
           (GroupTime() - groupBefore) / 1000, resident, anonymous, samples, status);
    return status != 0;
}
