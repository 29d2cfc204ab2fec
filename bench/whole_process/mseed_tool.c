/* Helper of whole_process.sh, linking libmseed only.
 *   mseed_tool write FILE N   packs N samples of a generated signal (random
 *                             walk, sines, decaying bursts, spikes) in three
 *                             channels into 4096-byte big-endian Steim-2 records
 *   mseed_tool read FILE      reads FILE into decoded traces (ms_readtraces)
 *                             and prints the number of samples */
#include <libmseed.h>

#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static void collect(char* record, int length, void* sink) { fwrite(record, 1, (size_t)length, (FILE*)sink); }

static uint64_t state = 88172645463325252ull;
static uint64_t next(void) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return state;
}
static double uniform(void) { return (double)(next() >> 11) * (1.0 / 9007199254740992.0); }

static int write_file(const char* path, int64_t total) {
    FILE* out = fopen(path, "wb");
    if (!out) return 1;
    const char* names[3] = {"HHZ", "HHN", "HHE"};
    for (int c = 0; c < 3; c++) {
        int64_t n = total / 3 + (c < total % 3);
        int32_t* s = malloc((size_t)n * sizeof *s);
        if (!s) return 1;
        double walk = 0, burst = 0;
        for (int64_t i = 0; i < n; i++) {
            walk += 4 * (uniform() + uniform() + uniform() - 1.5) * 2;
            if (next() % 20000 == 0) burst = 200000;
            burst *= 0.999;
            double v = walk + 300 * sin((double)i * 0.04) + burst * sin((double)i * 0.9);
            if (next() % 5000 == 0) v += (double)((int64_t)(next() % (2u << 24)) - (1 << 24));
            s[i] = (int32_t)v;
        }
        MSRecord* msr = msr_init(NULL);
        strcpy(msr->network, "XX");
        strcpy(msr->station, "BENCH");
        strcpy(msr->channel, names[c]);
        msr->dataquality = 'D';
        msr->starttime = ms_time2hptime(2024, 1, 0, 0, 0, 0);
        msr->samprate = 100.0;
        msr->reclen = 4096;
        msr->encoding = DE_STEIM2;
        msr->byteorder = 1;
        msr->datasamples = s;
        msr->numsamples = n;
        msr->sampletype = 'i';
        int64_t packed = 0;
        msr_pack(msr, collect, out, &packed, 1, 0);
        msr->datasamples = NULL;
        msr_free(&msr);
        free(s);
    }
    return fclose(out) != 0;
}

static int read_file(const char* path) {
    MSTraceGroup* group = NULL;
    int64_t n = 0;
    if (ms_readtraces(&group, path, 0, -1.0, -1.0, 0, 1, 1, 0) != MS_NOERROR) return 1;
    for (MSTrace* t = group->traces; t; t = t->next) n += t->numsamples;
    mst_freegroup(&group);
    printf("%lld samples\n", (long long)n);
    return 0;
}

int main(int argc, char** argv) {
    if (argc == 4 && strcmp(argv[1], "write") == 0) return write_file(argv[2], strtoll(argv[3], NULL, 10));
    if (argc == 3 && strcmp(argv[1], "read") == 0) return read_file(argv[2]);
    fprintf(stderr, "usage: mseed_tool write FILE N | read FILE\n");
    return 2;
}
