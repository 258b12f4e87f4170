/* Sees a hand on real sound: plays and listens over JACK, at 48000 Hz, and prints what the host kit makes of it.
 *   live [SPEAKER-PORT MICROPHONE-PORT]     default: the sound card's first; Ctrl-C ends it */
#include <jack/jack.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>
#include <zeto/host.h>

enum { kRoom = 16 }; /* readings: 3 s */

static const char* const kStates[] = {"", "learning", "nobody", "target", "disturbed"};
static jack_client_t* client;
static jack_port_t *speaker, *microphone;
static zeto_host* host;
static atomic_int gone;

/* From the audio thread to main: one writes, the other reads, nobody waits. */
static zeto_host_reading readings[kRoom];
static atomic_uint written, taken;

/* On the audio thread: no allocation, no lock, no output. */
static int process(jack_nframes_t n, void* unused) {
  (void)unused;
  static uint32_t last;
  zeto_host_play(host, jack_port_get_buffer(speaker, n), n * sizeof(float));
  const zeto_host_reading now = zeto_host_capture(host, jack_port_get_buffer(microphone, n), n * sizeof(float));
  const unsigned at = atomic_load_explicit(&written, memory_order_relaxed);
  if (now.number == last || at - atomic_load_explicit(&taken, memory_order_acquire) == kRoom) return 0;
  last = now.number;
  readings[at % kRoom] = now;
  atomic_store_explicit(&written, at + 1, memory_order_release);
  return 0;
}

static void shut_down(void* unused) {
  (void)unused;
  atomic_store(&gone, 1);
}

static void show(zeto_host_reading now) {
  char bar[41];
  const int length = now.state == ZETO_HOST_TARGET ? (int)(now.distance_cm / 2.0f) : 0;
  const int full = length < 40 ? length : 40;
  memset(bar, '=', sizeof bar);
  bar[full] = '\0';
  printf("%6.1f s  %-9s", (double)now.end / ZETO_SAMPLE_RATE, kStates[now.state]);
  if (now.state == ZETO_HOST_TARGET)
    printf("  %4.1f cm  %3.0f dB  %s", (double)now.distance_cm, (double)now.level_db, bar);
  putchar('\n');
  fflush(stdout);
}

/* Connects to a port of that name or, without one, to the sound card's first. */
static int connect_to(const char* name, unsigned long flags) {
  const char** ports = name ? NULL : jack_get_ports(client, NULL, JACK_DEFAULT_AUDIO_TYPE, flags | JackPortIsPhysical);
  const char* port = ports ? ports[0] : name;
  const int playing = flags == JackPortIsInput;
  const int failed = !port || jack_connect(client, playing ? jack_port_name(speaker) : port,
                                           playing ? port : jack_port_name(microphone)) != 0;
  if (failed) fprintf(stderr, "live: cannot connect to %s\n", port ? port : "a sound card");
  jack_free(ports);
  return !failed;
}

static int run(const char* to, const char* from) {
  speaker = jack_port_register(client, "speaker", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
  microphone = jack_port_register(client, "microphone", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
  jack_set_process_callback(client, process, NULL);
  jack_on_shutdown(client, shut_down, NULL);
  if (!speaker || !microphone || jack_activate(client) != 0) {
    fputs("live: the JACK server does not start the client\n", stderr);
    return 1;
  }
  if (!connect_to(to, JackPortIsInput) || !connect_to(from, JackPortIsOutput)) return 1;
  while (!atomic_load(&gone)) {
    unsigned at = atomic_load_explicit(&taken, memory_order_relaxed);
    for (; at != atomic_load_explicit(&written, memory_order_acquire); ++at) {
      show(readings[at % kRoom]);
      atomic_store_explicit(&taken, at + 1, memory_order_release);
    }
    usleep(20000);
  }
  fputs("live: the JACK server has gone away\n", stderr);
  return 1;
}

int main(int argc, char** argv) {
  if (argc != 1 && argc != 3) {
    fputs("usage: live [SPEAKER-PORT MICROPHONE-PORT]\n", stderr);
    return 1;
  }
  client = jack_client_open("zeto-live", JackNoStartServer, NULL);
  if (!client) {
    fputs("live: no JACK server answers\n", stderr);
    return 1;
  }
  int status = 1;
  const zeto_host_param param = {zeto_find_set("hand"), ZETO_FORMAT_FLOAT, 5.0f};
  void* memory = aligned_alloc(16, zeto_host_bytes(&param));
  host = memory ? zeto_host_init(memory, &param) : NULL;
  if (jack_get_sample_rate(client) != ZETO_SAMPLE_RATE) {
    fputs("live: the JACK server must run at 48000 Hz\n", stderr);
  } else if (!host) {
    fputs("live: out of memory\n", stderr);
  } else {
    zeto_host_learn(host); /* keep away for three seconds */
    status = run(argc == 3 ? argv[1] : NULL, argc == 3 ? argv[2] : NULL);
  }
  jack_client_close(client);
  free(memory);
  return status;
}
