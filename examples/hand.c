/* Sees a hand: plays, listens, and prints what the host kit makes of it. The phone is simulated: its loudspeaker
 * reaches the microphone directly, 40 ms late, and a hand comes to 20 cm after four seconds and stays for three. */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <zeto/host.h>

enum { kBuffer = 256, kPast = 4800 }; /* samples; 100 ms */

static const char* const kStates[] = {"", "learning", "nobody", "target", "disturbed"};
static int16_t past[kPast]; /* what was played last, a ring */
static uint32_t at;         /* samples played */

static int16_t heard(double way_cm) {
  const double latency = 0.040 * ZETO_SAMPLE_RATE;
  return past[(at - (uint32_t)lrint(latency + way_cm / 34300.0 * ZETO_SAMPLE_RATE)) % kPast];
}

static void pass_through_air(const int16_t* speaker, int16_t* microphone, double spacing_cm) {
  const double hand_cm = 20.0;
  const double way_cm = 2.0 * sqrt(hand_cm * hand_cm + spacing_cm * spacing_cm / 4.0);
  for (int i = 0; i < kBuffer; ++i, ++at) {
    past[at % kPast] = speaker[i];
    const int there = at > 4 * ZETO_SAMPLE_RATE && at < 7 * ZETO_SAMPLE_RATE;
    const double noise = rand() % 9 - 4;
    microphone[i] = (int16_t)lrint(0.3 * heard(spacing_cm) + (there ? 0.02 * heard(way_cm) : 0.0) + noise);
  }
}

int main(void) {
  const zeto_host_param param = {zeto_find_set("hand"), ZETO_FORMAT_PCM16, 5.0f};
  void* memory = aligned_alloc(16, zeto_host_bytes(&param));
  zeto_host* host = memory ? zeto_host_init(memory, &param) : NULL;
  if (!host) return 1;
  zeto_host_learn(host); /* nobody there for three seconds */

  uint32_t shown = 0;
  while (at < 9 * ZETO_SAMPLE_RATE) { /* in a host: once per audio callback */
    int16_t speaker[kBuffer], microphone[kBuffer];
    zeto_host_play(host, speaker, sizeof speaker);
    pass_through_air(speaker, microphone, (double)param.spacing_cm);
    const zeto_host_reading now = zeto_host_capture(host, microphone, sizeof microphone);
    if (now.number == shown) continue; /* a reading every 200 ms */
    shown = now.number;
    printf("%4.1f s  %-9s", (double)now.end / ZETO_SAMPLE_RATE, kStates[now.state]);
    if (now.state == ZETO_HOST_TARGET) printf("  %4.1f cm  %3.0f dB", (double)now.distance_cm, (double)now.level_db);
    putchar('\n');
  }
  free(memory);
  return 0;
}
