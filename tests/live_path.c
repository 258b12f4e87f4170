/* The air between loudspeaker and microphone, as a JACK client: a direct path, a hand that comes and goes, some noise.
 * Times count from the first sample that is not silence.
 *   live_path NAME DELAY DIRECT HAND_DELAY HAND FROM TO      delays in samples, gains linear, seconds */
#include <jack/jack.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

enum { kRate = 48000, kPast = 1 << 15 };

static jack_port_t *in, *out;
static float past[kPast];
static uint32_t at, heard; /* samples */
static uint32_t delay, hand_delay, from, to;
static float direct, hand;

static int process(jack_nframes_t n, void* unused) {
  (void)unused;
  const float* x = jack_port_get_buffer(in, n);
  float* y = jack_port_get_buffer(out, n);
  static uint32_t random = 1;
  for (jack_nframes_t i = 0; i < n; ++i, ++at) {
    past[at % kPast] = x[i];
    if (heard > 0 || x[i] < 0.0f || x[i] > 0.0f) ++heard;
    random = random * 1664525u + 1013904223u;
    y[i] = direct * past[(at - delay) % kPast] + (float)(random >> 16) * 1e-9f;
    if (heard >= from && heard < to) y[i] += hand * past[(at - hand_delay) % kPast];
  }
  return 0;
}

static void end(void* unused) {
  (void)unused;
  _exit(0);
}

int main(int argc, char** argv) {
  if (argc != 8) return 2;
  delay = (uint32_t)atoi(argv[2]);
  direct = (float)atof(argv[3]);
  hand_delay = (uint32_t)atoi(argv[4]);
  hand = (float)atof(argv[5]);
  from = (uint32_t)(atof(argv[6]) * kRate);
  to = (uint32_t)(atof(argv[7]) * kRate);
  jack_client_t* client = jack_client_open(argv[1], JackNoStartServer, NULL);
  if (!client) return 1;
  in = jack_port_register(client, "in", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
  out = jack_port_register(client, "out", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
  jack_port_register(client, "midi", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput, 0); /* takes no sound */
  jack_set_process_callback(client, process, NULL);
  jack_on_shutdown(client, end, NULL);
  if (!in || !out || jack_activate(client) != 0) return 1;
  puts("ready");
  fflush(stdout);
  for (;;) pause();
}
