// The exported float forms of the transform and of its passes.
#include "zeto/fft.h"

#include "fft/driver.hpp"
#include "fft/of_512.hpp"

using namespace zeto::fft;

extern "C" {

void zeto_drft_forward(zeto_drft_lookup* lookup, float* data) {
  if (is_of_512(*lookup)) return forward_of_512(*lookup, data, lookup->trig);
  forward(*lookup, data, lookup->trig);
}

void zeto_drft_backward(zeto_drft_lookup* lookup, float* data) {
  if (is_of_512(*lookup)) return backward_of_512(*lookup, data, lookup->trig);
  backward(*lookup, data, lookup->trig);
}

void dradf2(int32_t ido, int32_t l1, const float* cc, float* ch, const float* wa1) {
  forward2(ido, l1, cc, ch, wa1);
}

void dradf4(int32_t ido, int32_t l1, const float* cc, float* ch, const float* wa1, const float* wa2, const float* wa3) {
  forward4(ido, l1, cc, ch, wa1, wa2, wa3);
}

void dradb2(int32_t ido, int32_t l1, const float* cc, float* ch, const float* wa1) {
  backward2(ido, l1, cc, ch, wa1);
}

void dradb3(int32_t ido, int32_t l1, const float* cc, float* ch, const float* wa1, const float* wa2) {
  backward3(ido, l1, cc, ch, wa1, wa2);
}

void dradb4(int32_t ido, int32_t l1, const float* cc, float* ch, const float* wa1, const float* wa2, const float* wa3) {
  backward4(ido, l1, cc, ch, wa1, wa2, wa3);
}

// The extra names of the two arrays are there for callers' sake: they say nothing that cc, ch, ido and l1 do not.

void dradfg(int32_t ido, int32_t ip, int32_t l1, int32_t /*idl1*/, float* cc, float* /*c1*/, float* /*c2*/, float* ch,
            float* /*ch2*/, const float* wa) {
  forward_general(ido, ip, l1, cc, ch, wa);
}

void dradbg(int32_t ido, int32_t ip, int32_t l1, int32_t /*idl1*/, float* cc, float* /*c1*/, float* /*c2*/, float* ch,
            float* /*ch2*/, const float* wa) {
  backward_general(ido, ip, l1, cc, ch, wa);
}

}  // extern "C"
