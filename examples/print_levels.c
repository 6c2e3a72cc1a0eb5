/* Listens to what is playing for some seconds and prints how loud it was, second by second.
 *
 * usage: print-levels [SECONDS]    (sound-service --tone 440 plays something to listen to)
 *
 * The host's words go to audioCB_init() untouched: print-levels 3 --debug-level=info
 */
#include <audvik/audvik.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

struct Meter {
    atomic_int peak;
    atomic_int bytes;
};

/* On the platform's delivery thread: be quick, the next block waits. */
static void onAudio(unsigned char const* data, int32_t size, void* user_data) {
    struct Meter* meter = user_data;
    int peak = 0;
    for (int32_t i = 0; i + 1 < size; i += 2) {
        int16_t const sample = (int16_t)(data[i] | data[i + 1] << 8);
        if (abs(sample) > peak) peak = abs(sample);
    }
    if (peak > atomic_load(&meter->peak)) atomic_store(&meter->peak, peak);
    atomic_fetch_add(&meter->bytes, size);
}

int main(int argc, char** argv) {
    static struct Meter meter;
    int const seconds = argc > 1 ? atoi(argv[1]) : 3;

    int const started = audioCB_init(argc, argv);
    if (started < 0) {
        fprintf(stderr, "print-levels: the platform did not start: %s\n", strerror(-started));
        return 1;
    }
    if (set_audioCallback(1, onAudio, &meter) < 0) return 1;

    int heard = 0;
    for (int second = 1; second <= seconds; ++second) {
        sleep(1);
        int const bytes = atomic_exchange(&meter.bytes, 0);
        printf("%d s: %d bytes, peak %d\n", second, bytes, atomic_exchange(&meter.peak, 0));
        heard += bytes;
    }
    set_audioCallback(0, onAudio, &meter);
    return heard > 0 ? 0 : 1;
}
