/**
 * @file
 * What the TV is playing, block by block. The C interface of libaudvik.so.
 *
 * @code
 * static void onAudio(unsigned char const* data, int32_t size, void* user_data) { ... }
 *
 * if (audioCB_init(argc, argv) < 0) ...
 * if (set_audioCallback(1, onAudio, state) < 0) ...
 * @endcode
 *
 * No function lets a C++ exception out.
 *
 * To link: what `pkg-config --libs audvik` prints, which is -laudvik and, since the library names
 * no platform as one that it needs, the platform's libraries; on a PC these are
 * -lsound-client-desktop -lframe-desktop. With dlopen(), load libsound-client-desktop.so with
 * RTLD_NOW | RTLD_GLOBAL first, then libaudvik.so. On a television it is the television's platform
 * in both cases. audvik(3) has an example of each.
 */
#ifndef AUDVIK_AUDVIK_H
#define AUDVIK_AUDVIK_H

#include <stdint.h> /* NOLINT(modernize-deprecated-headers): this is C */

/** The address of the sound service, to which audioCB_init() sets LMQR2_UDPHOST. */
#define AUDVIK_SERVICE_ADDRESS "127.0.0.1:12321"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Takes one block of audio.
 *
 * Called on the platform's delivery thread, one block at a time. The next block, and every other
 * notification to this process, waits until it returns. It may call set_audioCallback().
 *
 * Nothing tells it the samples' rate, channels or width: those are the service's, and the host has
 * to know them.
 *
 * @param data       the block, valid until the callback returns
 * @param size       its size in bytes, 1 to 16384
 * @param user_data  as given to set_audioCallback()
 */
/* NOLINTNEXTLINE(modernize-use-using): this is C */
typedef void (*audioCallback_t)(unsigned char const* data, int32_t size, void* user_data);

/**
 * Brings the agent up: starts the platform's framework in this process and connects to the sound
 * service. Blocks until that is done. It asks nothing of the service yet and succeeds without one.
 *
 * Sets the environment variable LMQR2_UDPHOST to AUDVIK_SERVICE_ADDRESS, whatever it was.
 *
 * Call it once, from one thread, before set_audioCallback(). A second call starts anew: the
 * callback stays and is called once per block, but other clients that had registered with the
 * sound interface have to register again. What it replaces stays in memory, about half a kilobyte,
 * until the process ends, since others may still hold its interface.
 *
 * @param argc, argv  the host's command line, from which the platform's debug log may take its
 *                    level; neither changed nor kept. 0 and null when there is none.
 * @return 0; or a negative status when the framework did not start, and nothing has changed
 */
int32_t audioCB_init(int argc, char** argv);

/**
 * Stores the callback and its user data and has the service switch its audio data on or off for
 * this process. Any thread; calls take turns. Prints "set_audioCallback= <enable>" on standard
 * output.
 *
 * A block on its way may still arrive after switching off, and a block that arrives during the
 * call may reach the old callback with the new user data: what the user data points to must stay
 * valid as long as the process receives audio. To free it before, give another callback
 * and other user data, and wait with a sound::DeliveryBarrier (C++, sound/DeliveryBarrier.h) until
 * the callbacks that were running have returned.
 *
 * @param enable     non-zero to switch on, 0 to switch off
 * @param callback   takes the blocks; replaces the one before. Switching off needs one, too.
 * @param user_data  handed to the callback unchanged; stored in every case
 * @return 0 when the callback is stored and the request was made, whether or not a service heard
 *         it; -1 when @p callback is null: the stored callback stays; -ENOTCONN without a
 *         successful audioCB_init(): the callback is stored, but nothing was asked for
 */
int32_t set_audioCallback(int32_t enable, audioCallback_t callback, void* user_data);

#ifdef __cplusplus
}
#endif

#endif
