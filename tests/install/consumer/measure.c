/* Uses the installed library from C99: takes the address of every declared function, measures a
 * signal of known unit interval and jitter, and writes it as a text capture: measure CAPTURE */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <vomo.h>

typedef void (*Function)(void);
/* A declaration without a definition in the library fails to link here: the array has external
 * linkage, so that no compiler leaves it out. */
#define VOMO_FUNCTION(name) (Function) name,
extern const Function kFunctions[];
const Function kFunctions[] = {
#include "declared.inc"
};

enum { kBits = 20000, kSamplesPerUi = 10, kJitterPeriodUi = 400 };
static const double kPi = 3.14159265358979323846;
static const double kUi = 125e-12;
static const double kSinusoidPeak = 5e-12;
static const double kRandomRms = 1e-12;

static uint32_t g_seed = 12345u;

/* Uniform in [0, 1). */
static double Uniform(void) {
  g_seed = g_seed * 1664525u + 1013904223u;
  return g_seed / 4294967296.0;
}

/* Gaussian with deviation 1, as a sum of 12 uniform numbers. */
static double Gaussian(void) {
  double sum = -6.0;
  int i;
  for (i = 0; i < 12; ++i) sum += Uniform();
  return sum;
}

/* Random bits at +-0.4 V with edges of half a UI, moved by sinusoidal and random jitter. The
 * sinusoid makes whole periods, so that it leaves the mean unit interval alone. */
static void MakeSignal(float *samples) {
  const double dt = kUi / kSamplesPerUi;
  int bit = 0, previous = 0, k, i;
  double shift = 0.0;
  for (k = 0; k < kBits; ++k) {
    previous = bit;
    /* The first and the last edges are there for certain, so the clock has an edge for every UI. */
    bit = k < 2 || k > kBits - 3 ? !bit : Uniform() < 0.5;
    shift = kSinusoidPeak * sin(2.0 * kPi * k / kJitterPeriodUi) + kRandomRms * Gaussian();
    for (i = 0; i < kSamplesPerUi; ++i) {
      /* Position in the edge, which is centred half a UI into the bit: 0 before, 1 behind. */
      double part = (i * dt - 0.5 * kUi - shift) / (0.5 * kUi) + 0.5;
      part = part < 0.0 ? 0.0 : part > 1.0 ? 1.0 : part;
      samples[k * kSamplesPerUi + i] =
          (float)(0.8 * ((bit ? part : 0.0) + (previous ? 1.0 - part : 0.0)) - 0.4);
    }
  }
}

static int WriteCapture(const char *name, const float *samples) {
  FILE *file = fopen(name, "w");
  int i;
  if (file == NULL) return 1;
  for (i = 0; i < kBits * kSamplesPerUi; ++i) fprintf(file, "%.9g\n", (double)samples[i]);
  return fclose(file);
}

static int Expect(const char *name, double value, double low, double high) {
  if (value >= low && value <= high) return 0;
  fprintf(stderr, "%s is %g, expected %g to %g\n", name, value, low, high);
  return 1;
}

static int Measure(VomoWaveform *waveform) {
  VomoComplianceParams settings = {0};
  VomoComplianceResults results = {0};
  VomoStatus status;
  int failed = 0;
  settings.dTargetUI = kUi;
  settings.eFilterOrder = FIRST_ORDER;
  settings.sFilterParams.dFc = 1e6;
  settings.sFilterParams.dZ = 1.0;
  settings.sNoiseFloorAlgParams.fNumStandardDeviations = 3.0f;
  settings.sNoiseFloorAlgParams.dNoiseFloorCutoff1 = 4e9;
  settings.sNoiseFloorAlgParams.dNoiseFreqRange1 = 100e6;
  settings.dPDFBinSize = 0.1e-12;
  settings.dTargetBERQVal = -7.034484;
  settings.ulRemoveBinsNumPoints = 2;
  settings.ulNumPointsToUseInCdfFit = 40;
  settings.ulMinUIForOfficialTest = kBits - 1;
  status = Vomo_GENERAL_COMPLIANCE_NO_EYE(waveform, NULL, settings, &results, NULL);
  if (status != Vomo_STATUS_SUCCESS) {
    fprintf(stderr, "%s\n", Vomo_Status_Message(status));
    return 1;
  }
  /* The unit interval is the span of kBits - 1 UI, its ends moved by less than 6 deviations. */
  failed |= Expect("unit interval", results.dUnitInterval, kUi - 12.0 * kRandomRms / (kBits - 1),
                   kUi + 12.0 * kRandomRms / (kBits - 1));
  /* The sinusoid spans 10 ps; noise of 1 ps adds at most 6 deviations on each side. */
  failed |= Expect("TIE", results.dTIEPeakPeak, 2.0 * kSinusoidPeak,
                   2.0 * kSinusoidPeak + 12.0 * kRandomRms);
  /* What the fit implies: Tj = Dj - 2 Q Rj. */
  failed |= Expect("Tj", results.dTjPeakPeak,
                   (results.dDjDeltaDelta + 2.0 * 7.034484 * results.dRjRMS) * (1.0 - 1e-12),
                   (results.dDjDeltaDelta + 2.0 * 7.034484 * results.dRjRMS) * (1.0 + 1e-12));
  return failed;
}

int main(int argc, char **argv) {
  float *samples = malloc(sizeof(float) * kBits * kSamplesPerUi);
  VomoWaveform *waveform = NULL;
  VomoHandle handle = 0;
  int failed = 1;
  if (argc == 2 && samples != NULL) {
    MakeSignal(samples);
    failed = WriteCapture(argv[1], samples) != 0;
    if (Vomo_Get_Waveform(kBits * kSamplesPerUi, samples, kUi / kSamplesPerUi, &waveform,
                          &handle) != Vomo_STATUS_SUCCESS) {
      failed = 1;
    } else {
      failed |= Measure(waveform);
    }
    Vomo_HANDLE_FREE(handle);
  }
  free(samples);
  printf("%u functions declared\n", (unsigned)(sizeof kFunctions / sizeof kFunctions[0]));
  return failed;
}
