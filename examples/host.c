#include <stdio.h>
#include <string.h>
#include <zeto/wrappers.h>

// 96000 samples are 2 s; a result comes every 9600 samples; 2400 samples are 50 ms.
enum { kTotal = 2 * ZETO_SAMPLE_RATE, kBuffer = 256, kPeriod = 9600, kEcho = 2400 };

static void report(int sample, float value) {
  const double seconds = (double)sample / ZETO_SAMPLE_RATE;
  const int ms = (int)(value * 32768.0f);  // exact: the library divides its integer by 32768
  if (sample < kPeriod - 1)
    printf("%.5f s: nothing yet\n", seconds);
  else if (ms == ZETO_REJECTED)
    printf("%.5f s: rejected\n", seconds);
  else
    printf("%.5f s: %d ms\n", seconds, ms);
}

int main(void) {
  zeto_rx_wrapper* emitter = zeto_rx_wrapper_init(ZETO_SAMPLE_RATE, ZETO_FORMAT_FLOAT);
  zeto_tx_wrapper* detector = zeto_tx_wrapper_init(ZETO_SAMPLE_RATE, ZETO_FORMAT_FLOAT);
  const int made = emitter && detector && emitter->state && detector->state;
  const int ready = made && emitter->core && detector->core;
  zeto_rx_param_block chirp = {ZETO_RX_PARAM_DEFAULTS};
  zeto_tx_param_block hear = {ZETO_TX_PARAM_DEFAULTS};
  if (ready) zeto_rx_wrapper_set_parameters(emitter, &chirp);
  if (ready) zeto_tx_wrapper_set_parameters(detector, &hear);
  static float air[kEcho + kTotal];  // begins with 50 ms of silence, so air[t] is what is heard at sample t
  for (int start = 0; ready && start < kTotal; start += kBuffer) {  // one turn per audio callback
    float reference[kBuffer], microphone[kBuffer], result[kBuffer];
    float* speaker = &air[kEcho + start];
    zeto_rx_wrapper_process(emitter, speaker, sizeof reference);
    memcpy(reference, speaker, sizeof reference);  // a copy, because the detector overwrites its inputs
    for (int i = 0; i < kBuffer; ++i) microphone[i] = 0.25f * air[start + i];
    zeto_tx_wrapper_process(detector, reference, microphone, result, sizeof result);
    for (int i = 0; i < kBuffer; ++i)  // counted, because equal results in a row do not show as a change
      if (start + i == 0 || (start + i + 1) % kPeriod == 0) report(start + i, result[i]);
  }
  zeto_tx_wrapper_deinit(detector);
  zeto_rx_wrapper_deinit(emitter);
  return ready ? 0 : 1;
}
