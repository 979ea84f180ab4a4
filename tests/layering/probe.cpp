// Compiled by the layering tests with the include path of one library: the
// header named by TARNEX_PROBE_HEADER must be found, or must not, as the
// layers say.
#include TARNEX_PROBE_HEADER

int TarnexLayerProbe() {
  return 0;
}
