/** @file
 *  The host kit: what a host does around the library to see a hand. It is a static library of its own, on top of the
 *  exported interface; libzeto.so contains none of it.
 *
 *  In a phone the loudspeaker reaches the microphone directly, tens of milliseconds late and many times louder than any
 *  echo. A detector alone therefore measures the device itself. The kit
 *  - plays a *sweep table* of 200 ms, the detector's own rhythm, whose slope makes a step of the spectrum 2.86 cm;
 *  - holds the reference back by the device's *latency*, which it finds in the sound itself;
 *  - subtracts the *background*, the mean of what is heard with nobody there, from the microphone;
 *  - reads several detectors whose references are staggered by a few samples, as on a *vernier*, and averages them;
 *  - watches whether latency and background are still right;
 *  - and decides what to show: a distance in centimetres once two of the last five readings agree.
 *
 *  One object does all of it:
 *
 *  @code{.c}
 *  const zeto_host_param param = {zeto_find_set("hand"), ZETO_FORMAT_PCM16, 5.0f};
 *  void* memory = aligned_alloc(16, zeto_host_bytes(&param));
 *  zeto_host* host = zeto_host_init(memory, &param);
 *  zeto_host_learn(host);                                             // nobody there for three seconds
 *  // in the audio callbacks, buffers of any length:
 *  zeto_host_play(host, speaker, speaker_bytes);
 *  const zeto_host_reading now = zeto_host_capture(host, microphone, microphone_bytes);
 *  if (now.state == ZETO_HOST_TARGET) printf("%.1f cm\n", now.distance_cm);
 *  @endcode
 *
 *  Distance: sound goes from the loudspeaker to the target and back to the microphone. `spacing_cm` is the distance
 *  between these two. A target at distance d is straight ahead of the middle between them, and the sound's way is
 *  2 sqrt(d^2 + (spacing / 2)^2), at 343 m/s (20 degrees Celsius).
 *
 *  Ownership: the caller provides all memory and frees it after the last call; there is no exit call. A set and the
 *  other parameters are copied; apart from the object's memory, the kit keeps nothing of the caller's.
 *
 *  Bad input: with a null pointer, an unknown format or a set that the kit cannot play, init returns null and
 *  zeto_host_bytes() returns 0. Calls on a null object or a null buffer do nothing, and capture then returns a reading
 *  of zeros. Buffers must be aligned to a sample. If a byte count is not a multiple of a sample's bytes, the rest is
 *  not touched. Samples may be anything: NaN counts as 0, infinities as full scale.
 *
 *  How long a background is good: as long as the phone lies where it lay and the room is as it was. If something was
 *  there while the background was learned and leaves afterwards, it reads as a target until the kit learns again. So
 *  learn at the start of every use, and when a reading says that alignment is lost.
 *
 *  Threads: play may run on one thread and all other calls on another, because what is played does not depend on what
 *  is captured. The other calls must not run at the same time. init registers detectors and emitter with the arena
 *  (zeto/arena.h), so it must not run at the same time as any other init of the library.
 *
 *  Real time: play, learn and capture allocate nothing, take no lock, print nothing and make no system call. Learning
 *  spreads its work over the three seconds. init prints the lines of the library's cores (zeto/cores.h).
 */
#ifndef ZETO_HOST_H
#define ZETO_HOST_H

#include <stddef.h>
#include <stdint.h>

#include "zeto/cores.h"
#include "zeto/wrappers.h"

#ifndef ZETO_HOST_API
#define ZETO_HOST_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** Largest number of sweeps in a table. */
#define ZETO_SWEEP_MAX 8

/** Sweeps that start over, one after the other: a table that is played in a loop. */
typedef struct zeto_sweep {
  int32_t start_hz;   /**< start of each sweep, Hz; see zeto_rx_param. Typical: 18000 */
  int32_t slope_hz_s; /**< rise, Hz per second: span_hz of a zeto_rx_param with a period of a second. Typical: 93750.
                           A sweep that rises beyond 24000 Hz folds back and stays ultrasonic */
  int32_t amp_milli;  /**< amplitude throughout, 1/1000 of full scale. Typical: 160 */
  int32_t fade_us; /**< each sweep rises from silence and falls to it along half a period of a cosine, microseconds; at
                           most half the sweep. A restart without a fade clicks. Typical: 2000 */
  int32_t restart_ms[ZETO_SWEEP_MAX]; /**< length of each sweep, ms; the first 0 ends the list. Typical: 72, 64, 64 */
} zeto_sweep;

/** @return samples of the table, at most 8 seconds, or 0 if there is no sweep, one is negative or longer than a second,
 *          or the fade is negative. */
ZETO_HOST_API uint32_t zeto_sweep_len(const zeto_sweep* sweep);

/** Makes the table by the library's emitter.
 *  @param scratch  room for an emitter's state, cal_zeto_rx_struct_malloc_size() bytes aligned to 8.
 *  @param table    zeto_sweep_len() samples.
 *  Not for the audio thread: the emitter prints lines. A bad sweep does nothing. */
ZETO_HOST_API void zeto_sweep_make(const zeto_sweep* sweep, void* scratch, int16_t* table);

/** Copies a table into a playback buffer, over and over.
 *  @param len          samples of the table; 0 does nothing.
 *  @param position     index of the next sample to play, 0 to len - 1; updated.
 *  @param format_type  one of ZETO_FORMAT_PCM16 to ZETO_FORMAT_FLOAT; anything else does nothing. Samples are the
 *                      16-bit ones, exactly: times 256, times 65536, divided by 32768. */
ZETO_HOST_API void zeto_sweep_play(const int16_t* table, uint32_t len, uint32_t* position, int32_t format_type,
                                   void* buffer, uint64_t byte_count);

/** A named choice of everything that must fit together. */
typedef struct zeto_set {
  const char* name;    /**< the name that zeto_find_set() takes */
  const char* tells;   /**< what it can tell, a sentence */
  const char* fails;   /**< what it cannot, a sentence */
  zeto_rx_param chirp; /**< for the wrappers without the kit: what to play */
  zeto_tx_param hear;  /**< for the wrappers without the kit. In a set with sweeps, for the kit's detectors: they must
                            measure in whole Hz, as those of "hand" do */
  zeto_sweep sweep;    /**< what the kit plays. The table fills 200 ms, once or several times. At most eight sweeps in
                            200 ms, with lengths of even ms and a slope of at least 5000 Hz per second. A detector
                            looks at 64 ms in one piece, so shorter sweeps read less exactly. No sweeps: a set for the
                            wrappers without the kit */
  int32_t detectors;   /**< staggered detectors on each frame of 200 ms; 1 to 16 together with the slow ones */
  int32_t slow;        /**< further detectors, on the sum of the last `slow_frames` frames, for faint targets at rest */
  int32_t slow_frames; /**< 1 to ZETO_SLOW_MAX; 0 if there are no slow ones */
  float least_cm;      /**< nearest target that the set is good for; the kit shows nearer ones less exactly */
  float greatest_cm;   /**< farthest target shown; one that is shown already may go 5 cm farther */
  float step_cm;       /**< one bin of a detector's spectrum as a distance; for information */
} zeto_set;

/** Largest number of frames that slow detectors add up. */
#define ZETO_SLOW_MAX 8

/** The named sets: "default", "finer", "hand", "room".
 *  @return the set of that name, or null. */
ZETO_HOST_API const zeto_set* zeto_find_set(const char* name);

/** @return the set of that number, from 0, or null past the last. */
ZETO_HOST_API const zeto_set* zeto_get_set(uint32_t number);

/** What the kit concludes from the last 200 ms. */
enum zeto_host_state {
  ZETO_HOST_LEARNING = 1, /**< nothing learned yet, or learning */
  ZETO_HOST_NOBODY = 2,   /**< no target in reach, or none loud enough to be seen */
  ZETO_HOST_TARGET = 3,   /**< a target at `distance_cm` */
  ZETO_HOST_DISTURBED = 4 /**< cannot tell, see `cause` */
};

/** Why a reading is ZETO_HOST_DISTURBED. */
enum zeto_host_cause {
  ZETO_HOST_NO_CAUSE = 0,  /**< the reading is not disturbed */
  ZETO_HOST_ALIGNMENT = 1, /**< the background is later, earlier or not as loud as it was: samples were lost or
                                repeated, clocks drift, the phone was moved, its volume changed or its microphone was
                                muted. Learn again */
  ZETO_HOST_FOREIGN = 2, /**< a steady sound that no one target explains: another phone, or a loudspeaker that clips */
  ZETO_HOST_NOISE = 3,   /**< noise above 18 kHz nearly as loud as the loudspeaker */
  ZETO_HOST_UNHEARD = 4  /**< learning did not find the loudspeaker in the microphone's sound, or the sound changed
                                meanwhile: somebody moved, or clocks drift. Learning starts over by itself */
};

/** A reading. There is a new one every 200 ms (9600 samples), except for a gap of up to 400 ms when learning ends. */
typedef struct zeto_host_reading {
  uint64_t end;      /**< samples captured when its 200 ms ended; 48000 a second */
  uint32_t number;   /**< counts readings, from 1; 0: none yet, and the state is ZETO_HOST_LEARNING */
  int32_t state;     /**< a zeto_host_state */
  int32_t cause;     /**< a zeto_host_cause */
  float distance_cm; /**< of a target at the time `end`, corrected for its motion during the 200 ms; else 0 */
  float speed_cm_s;  /**< of a target, away from the phone above 0; from the last five readings */
  float age_s;       /**< time since the target was last measured: above 0 if noise hid it meanwhile */
  float level_db; /**< of the target's echo against the direct sound (the loudspeaker as the microphone hears it), dB;
                          else 0. Typical for a hand: -6 (2 cm) to -31 (50 cm) */
  float rest_db;  /**< of everything from 18 to 23 kHz that is not background, against the direct sound, dB; 0 while
                          learning. Targets are seen down to about 10 dB below it */
} zeto_host_reading;

/** What learning found when it last ended, even if it failed. */
typedef struct zeto_host_findings {
  float latency_ms;    /**< from playback to capture, less the sound's own way; modulo 200 ms */
  float sureness_db;   /**< power of the direct sound's correlation over the mean of all delays, dB. Typical: 20 to 30;
                            below 11 learning fails */
  float background_db; /**< background over noise, both from 18 to 23 kHz, dB. Typical: 20 to 40 */
  float drift_ppm; /**< between the clocks of capture and playback while learning, without sign. From 0.5 on, learning
                            fails if it is also more than five times what the noise makes; less is noticed later, as
                            lost alignment */
} zeto_host_findings;

/** What a host object is made for. */
typedef struct zeto_host_param {
  const zeto_set* set; /**< one with a sweep that repeats every 200 ms */
  int32_t format_type; /**< of both buffers: one of ZETO_FORMAT_PCM16 to ZETO_FORMAT_FLOAT */
  float spacing_cm;    /**< loudspeaker to microphone, 0 to 100 cm. Typical: 1 (beside each other) to 14 (both ends) */
} zeto_host_param;

/** The object; it lives in the caller's memory. */
typedef struct zeto_host zeto_host;

/** @return bytes of an object, a multiple of 16, or 0 if the kit cannot do what `param` asks. Typical: 0.8 to 1.5
 *          million. */
ZETO_HOST_API size_t zeto_host_bytes(const zeto_host_param* param);

/** Prepares an object: nothing learned yet. Not for the audio thread.
 *  @param memory  zeto_host_bytes() bytes, aligned to 16; need not be cleared.
 *  @return the object, or null. */
ZETO_HOST_API zeto_host* zeto_host_init(void* memory, const zeto_host_param* param);

/** Writes the next samples to play. One channel. */
ZETO_HOST_API void zeto_host_play(zeto_host* host, void* buffer, uint64_t byte_count);

/** Starts to learn latency and background, for the first time or again. For three seconds nobody may be in reach, and
 *  the loudspeaker must play. Until learning has succeeded, readings are ZETO_HOST_LEARNING or, once it has failed and
 *  started over, ZETO_HOST_DISTURBED. */
ZETO_HOST_API void zeto_host_learn(zeto_host* host);

/** Takes what the microphone heard. One channel, as many samples as were played meanwhile.
 *  @return the latest reading; a new one has another `number`. With buffers of up to 9600 samples none is missed. */
ZETO_HOST_API zeto_host_reading zeto_host_capture(zeto_host* host, const void* microphone, uint64_t byte_count);

/** @return what learning found when it last ended; zeros before. */
ZETO_HOST_API zeto_host_findings zeto_host_learned(const zeto_host* host);

#ifdef __cplusplus
}
#endif

#endif
