// Preloaded into a command under test: at exit, copies the process's /proc/self/maps to the
// file named by QUILLON_MAPS_FILE, so a test sees every library the command mapped, those
// opened on demand included.
#include <stdio.h>
#include <stdlib.h>

__attribute__((destructor)) static void quillonWriteMapsAtExit(void)
{
    const char *target = getenv("QUILLON_MAPS_FILE");
    if (!target)
        return;
    FILE *in = fopen("/proc/self/maps", "r");
    FILE *out = fopen(target, "w");
    if (in && out) {
        char buffer[4096];
        size_t n;
        while ((n = fread(buffer, 1, sizeof buffer, in)) > 0)
            fwrite(buffer, 1, n, out);
    }
    if (in)
        fclose(in);
    if (out)
        fclose(out);
}
