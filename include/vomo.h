/* Vomo: signal analysis for high-speed serial links.
 *
 * A capture goes in as uniformly sampled volts, numbers come out: edges, unit interval, time
 * interval error, random, deterministic and total jitter, spectra, eyes and voltages. Each stage of
 * that road is a function of its own here, and the compliance drivers string them together.
 *
 * Status words. Nearly every function returns a VomoStatus: 0 is success, a word that passes
 * Vomo_STATUS_IS_ERROR is a failure, and anything else is a warning, which means that the outputs
 * are there and may be used. After a failure the outputs are as they were before the call, unless
 * the function says otherwise. Vomo_Status_Message turns a word into English. In the comments below
 * a status word is named without its prefix: PARAM_NOT_VALID is Vomo_STATUS_PARAM_NOT_VALID. The
 * workers whose names begin with Meas_, Modify_ or Find return 0 or 1 instead.
 *
 * Two rules hold everywhere and are not repeated: a NULL for a pointer that is not called optional
 * gives PARAM_NOT_VALID (a worker returns 1), and memory that cannot be had gives
 * MEMORY_ALLOCATION_FAILED, also when a single block would have to exceed 2^31 - 1 bytes. Bad
 * arguments are never fatal: no call crashes on them or leaves memory behind.
 *
 * Ownership. What outlives a call lies in a block of one process-wide table of 1280 slots. Such a
 * result always comes as a pair: a pointer for reading and a VomoHandle for giving the block back
 * with Vomo_HANDLE_FREE. One handle covers the record and every array that hangs from it. The
 * caller owns the block until it frees the handle or calls Vomo_Handle_Free_All; the library keeps
 * no reference. A function that fails has freed what it took. Only the curves inside
 * VomoComplianceResults differ: they belong to the library and live until the next successful run.
 * Input arrays and records are only read, unless the function says that it works in place.
 *
 * Units. Times are seconds in double, counted from sample 0 of the waveform. Frequencies are hertz,
 * samples and voltages are volts in float. An eye's horizontal axis is in unit intervals (UI), the
 * nominal duration of one bit. Where an argument or a step is float, its rounding is part of the
 * result. NaN and infinity in samples travel through the arithmetic like any value. Bounds called
 * first and last, or begin and end, are both inclusive unless the function says otherwise.
 *
 * Names. Fields and arguments begin with their type: d double, f float, i signed and ul unsigned 32
 * bits, s signed and us unsigned 16 bits, uc unsigned 8 bits, e an enumeration (held as uint32_t
 * unless declared otherwise), s a record by value, p a pointer, h a handle, a an array.
 *
 * Threads. The library starts none and takes no lock: the handle table, the message text and the
 * curves of the last run are shared by the whole process. Call it from one thread at a time. */
#ifndef VOMO_H
#define VOMO_H

#include <stdint.h>

/* Version of this header and of the library built from it: major.minor.patch. */
#define VOMO_VERSION "0.1.0"

/* Marks what leaves the shared library. */
#if defined(_WIN32)
#if defined(VOMO_BUILDING)
#define VOMO_API __declspec(dllexport)
#else
#define VOMO_API __declspec(dllimport)
#endif
#else
#define VOMO_API __attribute__((visibility("default")))
#endif

/* No exception crosses this interface. */
#ifdef __cplusplus
#define VOMO_NOEXCEPT noexcept
extern "C" {
#else
#define VOMO_NOEXCEPT
#endif

/* ============================== Status words =============================================== */

/* Bit 31 marks an error, bit 29 a word of this library, bits 16 to 28 hold the group (0 general, 2
 * memory) and bits 0 to 15 the code. */
typedef uint32_t VomoStatus;

/* Done. */
#define Vomo_STATUS_SUCCESS 0x00000000u
/* Warning: more crossovers than there was room for; those found so far are delivered. */
#define Vomo_STATUS_CROSSOVER_MEMORY_LIMIT 0x20000000u
/* Warning: the capture held fewer bursts than asked for. Has no message text of its own. */
#define Vomo_STATUS_LF_FEWER_BURSTS 0x20000001u
/* The function is a placeholder. */
#define Vomo_STATUS_NOT_IMPLEMENTED 0xA0000000u
/* A file ended before it held any data. */
#define Vomo_STATUS_UNEXPECTED_EOF 0xA0000001u
/* A file cannot be opened or read, or is not of its format. */
#define Vomo_STATUS_FILE_READ_ERROR 0xA0000002u
/* The two files of a single-ended pair are sampled differently. */
#define Vomo_STATUS_INCOMPATIBLE_SAMPLE_INTERVALS 0xA0000003u
/* A file holds fewer waveforms than the call needs. */
#define Vomo_STATUS_NOT_ENOUGH_WAVEFORMS 0xA0000004u
/* An argument lies outside its range. */
#define Vomo_STATUS_PARAM_OUT_OF_RANGE 0xA0000005u
/* An argument is NULL or makes no sense with the others. */
#define Vomo_STATUS_PARAM_NOT_VALID 0xA0000006u
/* A transform of the asked length cannot be set up; the message says why. */
#define Vomo_STATUS_FFT_DESCRIPTOR_ERROR 0xA0000007u
/* A transform failed while running; the message says why. */
#define Vomo_STATUS_FFT_COMPUTE_ERROR 0xA0000008u
/* An array operation or a measurement failed; the message says why. */
#define Vomo_STATUS_COMPUTATION_ERROR 0xA0000009u
/* More crossover spacings outside the given widths than the limits allow. */
#define Vomo_STATUS_INVALID_INTERVAL 0xA000000Au
/* Fewer clock edges than the run asks for. */
#define Vomo_STATUS_NOT_ENOUGH_UI 0xA000000Bu
/* The pattern to be measured does not occur. */
#define Vomo_STATUS_PATTERN_NOT_FOUND 0xA000000Cu
/* The search for DFE taps failed. Has no message text of its own. */
#define Vomo_STATUS_DFE_SEARCH_FAILED 0xA000000Fu
/* No memory, or no free slot in the handle table. */
#define Vomo_STATUS_MEMORY_ALLOCATION_FAILED 0xA0020000u
/* The block of an eye stage's outputs cannot be had. */
#define Vomo_STATUS_HANDLES_EXHAUSTED 0xA0020001u

/* True for every error word, false for success and for warnings. */
#define Vomo_STATUS_IS_ERROR(status) (((status)&0xA0000000u) == 0xA0000000u)

/* Text of a status word, for every 32-bit value: a word without bit 29 is called invalid and a word
 * that has no text unknown, both with its hexadecimal value.
 * Some texts name the file or the reason of the latest failure that left one. That note is process
 * wide and no success clears it, so it can be asked for later, and a word whose failing function
 * left no note shows an older one.
 * Returns a constant or a buffer that the next call overwrites; never NULL, not to be freed. */
VOMO_API const char *Vomo_Status_Message(VomoStatus status) VOMO_NOEXCEPT;

/* ============================== Memory and waveforms ======================================== */

/* Number of a slot in the table of blocks: 1 to 1280, 0 for none. Serves only to free the block. */
typedef uint32_t VomoHandle;

/* Complex numbers: real part, imaginary part. */
typedef struct VomoComplexDouble {
  double dRe, dIm;
} VomoComplexDouble;
typedef struct VomoComplexFloat {
  float fRe, fIm;
} VomoComplexFloat;

/* A sampled signal. The record and its samples are one block behind one handle, the samples on a
 * 32-byte boundary. Analysis sees the ulNumSamples visible samples only. Trimming hides samples
 * without moving them: pfSamples moves on, ulNumSamples shrinks and the trim counts grow, so the
 * first stored sample is pfSamples - ulTrimFront and the stored count is the sum of the three
 * counts. A caller may build such a record over memory of its own, with both trim counts 0. */
typedef struct VomoWaveform {
  /* Visible samples. */
  uint32_t ulNumSamples;
  /* Seconds between samples. Kept as given; the functions that need it above 0 test it. */
  double dSampleInterval;
  /* First visible sample, volts. */
  float *pfSamples;
  /* Stored samples hidden before the first and behind the last visible one. */
  uint32_t ulTrimFront, ulTrimBack;
} VomoWaveform;

/* Allocates a block on a 32-byte boundary, not cleared, and stores its address in *ppMemory.
 * iSizeInBytes: 1 to 2^31 - 1.
 * Returns the lowest free handle, or 0 (this is no status word): for a size below 1 or without
 * memory *ppMemory becomes NULL; with the table full it receives the address of a block that is
 * already freed, so judge by the handle and never by the pointer. ppMemory NULL allocates
 * nothing. */
VOMO_API VomoHandle Vomo_Handle_and_Memory_Allocate(int32_t iSizeInBytes,
                                                    void **ppMemory) VOMO_NOEXCEPT;

/* Gives a block back. Success for handle 0 and for a slot that is already empty, so cleaning up and
 * freeing twice are harmless; PARAM_OUT_OF_RANGE above 1280. */
VOMO_API VomoStatus Vomo_HANDLE_FREE(VomoHandle hHandle) VOMO_NOEXCEPT;

/* Frees every block of the table, in rising order. Every pointer that the library has handed out is
 * dead afterwards, the curves inside VomoComplianceResults too. Runs by itself when the library is
 * unloaded. Always success. */
VOMO_API VomoStatus Vomo_Handle_Free_All(void) VOMO_NOEXCEPT;

/* Empties the table without freeing anything: live blocks stay allocated, readable and out of
 * reach. Runs by itself when the library is loaded; an application has no need of it. Always
 * success. */
VOMO_API VomoStatus Vomo_Handles_Initialize(void) VOMO_NOEXCEPT;

/* Makes a waveform record with its samples.
 * ulNumSamples: 0 to 536870903; 0 gives a valid record without samples.
 * pfSource: that many volts to copy, or NULL for all zeros.
 * dSampleInterval: seconds, stored unchecked.
 * ppsWaveform, phWaveform: the record and its handle; the caller frees it. */
VOMO_API VomoStatus Vomo_Get_Waveform(uint32_t ulNumSamples, const float *pfSource,
                                      double dSampleInterval, VomoWaveform **ppsWaveform,
                                      VomoHandle *phWaveform) VOMO_NOEXCEPT;

/* Makes the time axis of a waveform: ulNumSamples doubles, element i being i times dSampleInterval
 * narrowed to float. The elements are doubles, the step has float precision, and that is meant.
 * ppdTime, phTime: the array and its handle; the caller frees it.
 * PARAM_OUT_OF_RANGE for 0 samples. */
VOMO_API VomoStatus Vomo_CREATE_TIME_DATA(uint32_t ulNumSamples, double dSampleInterval,
                                          double **ppdTime, VomoHandle *phTime) VOMO_NOEXCEPT;

/* Unit intervals spanned by the samples ulBeginIndex to ulEndIndex, rounded to the nearest whole
 * number. It is the number of samples that counts and not of the gaps between them: 10 samples at a
 * tenth of a UI are 1 UI.
 * PARAM_NOT_VALID for a waveform without samples; PARAM_OUT_OF_RANGE for a sample or unit interval
 * not above 0, ulEndIndex outside the waveform, or ulBeginIndex not below ulEndIndex. */
VOMO_API VomoStatus Vomo_ESTIMATE_NUMBER_UI(const VomoWaveform *psWaveform, uint32_t ulBeginIndex,
                                            uint32_t ulEndIndex, double dUnitInterval,
                                            uint32_t *pulNumberUI) VOMO_NOEXCEPT;

/* ============================== Arrays ====================================================== */

/* All work on the elements ulBegin to ulEnd of their sources. The members that make an array
 * deliver ulEnd - ulBegin + 1 elements, the first belonging to source element ulBegin, as pointer
 * *ppOut and handle *phOut that the caller frees. They and the two in-place products refuse a NULL
 * source and ulBegin not below ulEnd, hence also a range of one element, with PARAM_NOT_VALID. */

/* Running sum in double: element k is the sum of source elements ulBegin to ulBegin + k. */
VOMO_API VomoStatus VomoACCUMULATE_ARRAY(const double *pdSource, uint32_t ulBegin, uint32_t ulEnd,
                                         double **ppOut, VomoHandle *phOut) VOMO_NOEXCEPT;

/* a + b, element by element. */
VOMO_API VomoStatus VomoADD_COMPLEX_DOUBLE_ARRAY(const VomoComplexDouble *pA,
                                                 const VomoComplexDouble *pB, uint32_t ulBegin,
                                                 uint32_t ulEnd, VomoComplexDouble **ppOut,
                                                 VomoHandle *phOut) VOMO_NOEXCEPT;

/* a + b, element by element. */
VOMO_API VomoStatus VomoADD_COMPLEX_FLOAT_ARRAY(const VomoComplexFloat *pA,
                                                const VomoComplexFloat *pB, uint32_t ulBegin,
                                                uint32_t ulEnd, VomoComplexFloat **ppOut,
                                                VomoHandle *phOut) VOMO_NOEXCEPT;

/* a - b, element by element. The two complex members below subtract the other way round. */
VOMO_API VomoStatus VomoSUBTRACT_ARRAYS(const double *pA, const double *pB, uint32_t ulBegin,
                                        uint32_t ulEnd, double **ppOut,
                                        VomoHandle *phOut) VOMO_NOEXCEPT;

/* b - a, element by element: the second source less the first. */
VOMO_API VomoStatus VomoSUBTRACT_COMPLEX_DOUBLE_ARRAY(const VomoComplexDouble *pA,
                                                      const VomoComplexDouble *pB, uint32_t ulBegin,
                                                      uint32_t ulEnd, VomoComplexDouble **ppOut,
                                                      VomoHandle *phOut) VOMO_NOEXCEPT;

/* b - a, element by element: the second source less the first. */
VOMO_API VomoStatus VomoSUBTRACT_COMPLEX_FLOAT_ARRAY(const VomoComplexFloat *pA,
                                                     const VomoComplexFloat *pB, uint32_t ulBegin,
                                                     uint32_t ulEnd, VomoComplexFloat **ppOut,
                                                     VomoHandle *phOut) VOMO_NOEXCEPT;

/* Complex product a * b, element by element. */
VOMO_API VomoStatus VomoMULTIPLY_COMPLEX_DOUBLE_ARRAY(const VomoComplexDouble *pA,
                                                      const VomoComplexDouble *pB, uint32_t ulBegin,
                                                      uint32_t ulEnd, VomoComplexDouble **ppOut,
                                                      VomoHandle *phOut) VOMO_NOEXCEPT;

/* Complex product a * b, element by element. */
VOMO_API VomoStatus VomoMULTIPLY_COMPLEX_FLOAT_ARRAY(const VomoComplexFloat *pA,
                                                     const VomoComplexFloat *pB, uint32_t ulBegin,
                                                     uint32_t ulEnd, VomoComplexFloat **ppOut,
                                                     VomoHandle *phOut) VOMO_NOEXCEPT;

/* Base-10 logarithms: minus infinity for 0 and NaN for a negative element, both with success. */
VOMO_API VomoStatus VomoLOG10_DOUBLE_ARRAY(const double *pdSource, uint32_t ulBegin, uint32_t ulEnd,
                                           double **ppOut, VomoHandle *phOut) VOMO_NOEXCEPT;

/* Base-10 logarithms, stricter than the double member: an element of 0 or below is a
 * COMPUTATION_ERROR and nothing is delivered. */
VOMO_API VomoStatus VomoLOG10_FLOAT_ARRAY(const float *pfSource, uint32_t ulBegin, uint32_t ulEnd,
                                          float **ppOut, VomoHandle *phOut) VOMO_NOEXCEPT;

/* pA[k] = pA[k] * pB[k] for k from ulBegin to ulEnd, in place; the indices are those of both
 * arrays. */
VOMO_API VomoStatus VomoMULTIPLY_COMPLEX_DOUBLE_ARRAY_INPLACE(VomoComplexDouble *pA,
                                                              const VomoComplexDouble *pB,
                                                              uint32_t ulBegin,
                                                              uint32_t ulEnd) VOMO_NOEXCEPT;

/* The same in float. */
VOMO_API VomoStatus VomoMULTIPLY_COMPLEX_FLOAT_ARRAY_INPLACE(VomoComplexFloat *pA,
                                                             const VomoComplexFloat *pB,
                                                             uint32_t ulBegin,
                                                             uint32_t ulEnd) VOMO_NOEXCEPT;

/* Arithmetic mean. A range of one element is allowed.
 * PARAM_OUT_OF_RANGE for a NULL source or ulBegin above ulEnd. */
VOMO_API VomoStatus VomoFIND_MEAN_DOUBLE(const double *pdSource, uint32_t ulBegin, uint32_t ulEnd,
                                         double *pdMean) VOMO_NOEXCEPT;

/* The same for floats: summed in double, narrowed at the end. */
VOMO_API VomoStatus VomoFIND_MEAN_FLOAT(const float *pfSource, uint32_t ulBegin, uint32_t ulEnd,
                                        float *pfMean) VOMO_NOEXCEPT;

/* Least and greatest element and the index of the first occurrence of each. The indices count from
 * ulBegin and not from the start of the array. Each output may be NULL and is then left out. A NaN
 * is passed over unless it is the first element, where it stays the answer.
 * PARAM_OUT_OF_RANGE for a NULL source or ulBegin above ulEnd. */
VOMO_API VomoStatus VomoFIND_MIN_MAX_DOUBLE(const double *pdSource, uint32_t ulBegin,
                                            uint32_t ulEnd, double *pdMin, uint32_t *pulMinIndex,
                                            double *pdMax, uint32_t *pulMaxIndex) VOMO_NOEXCEPT;

/* The same for floats. */
VOMO_API VomoStatus VomoFIND_MIN_MAX_FLOAT(const float *pfSource, uint32_t ulBegin, uint32_t ulEnd,
                                           float *pfMin, uint32_t *pulMinIndex, float *pfMax,
                                           uint32_t *pulMaxIndex) VOMO_NOEXCEPT;

/* Sample standard deviation, the sum of squares divided by the count less 1.
 * PARAM_NOT_VALID for a NULL pointer or ulBegin not below ulEnd. */
VOMO_API VomoStatus VomoFIND_STD_DEV_DOUBLE(const double *pdSource, uint32_t ulBegin,
                                            uint32_t ulEnd, double *pdStdDev) VOMO_NOEXCEPT;

/* The same for floats, with another answer to bad input: COMPUTATION_ERROR with a reason for a NULL
 * source and for fewer than two elements. */
VOMO_API VomoStatus VomoFIND_STD_DEV_FLOAT(const float *pfSource, uint32_t ulBegin, uint32_t ulEnd,
                                           float *pfStdDev) VOMO_NOEXCEPT;

/* Median: the middle element, or for an even count the mean of the two middle ones. The source
 * keeps its order. With a NaN in the range the result is one of its values or their mean, no
 * particular one.
 * ulBegin one above ulEnd is a count of 0: success, and the result is that of the last call of this
 * function that had an even count (0 before any). ulBegin further above: PARAM_OUT_OF_RANGE. */
VOMO_API VomoStatus Vomo_MEDIAN_DOUBLE(const double *pdSource, uint32_t ulBegin, uint32_t ulEnd,
                                       double *pdMedian) VOMO_NOEXCEPT;

/* The same for floats; the mean of two is formed in float. */
VOMO_API VomoStatus Vomo_MEDIAN_FLOAT(const float *pfSource, uint32_t ulBegin, uint32_t ulEnd,
                                      float *pfMedian) VOMO_NOEXCEPT;

/* Magnitudes of ulCount complex numbers, as an array that the caller frees through *phOut.
 * PARAM_OUT_OF_RANGE for a count of 0. */
VOMO_API VomoStatus VomoGET_MAGNITUDE(const VomoComplexDouble *pComplexSource, uint32_t ulCount,
                                      double **ppdOut, VomoHandle *phOut) VOMO_NOEXCEPT;

/* ============================== Transforms ================================================== */

/* Fourier transforms of any length n from 1, on the elements ulMin to ulMax of the source; ulMin
 * above ulMax means the single element ulMax. The forward kernel is exp(-2 pi i k m / n), the
 * inverse has the plus sign. Results come as *ppOut and *phOut, freed by the caller.
 * A step that is not above 0, NaN included, gives PARAM_OUT_OF_RANGE; a length that cannot be set
 * up FFT_DESCRIPTOR_ERROR and a transform that fails FFT_COMPUTE_ERROR, each with a reason. */

/* Complex to complex, n elements in and out, unscaled in both directions: forward and inverse
 * together multiply by n. dStep is a rate (samples a second) and not an interval: the forward
 * functions deliver *pdStep = dStep / n and the inverse ones n / dStep.
 * Mind the arguments: pdStep stands before ppOut in VomoFFT_COMPLEX_FLOAT alone. */
VOMO_API VomoStatus VomoFFT_COMPLEX_DOUBLE(const VomoComplexDouble *pSource, uint32_t ulMin,
                                           uint32_t ulMax, double dStep, VomoComplexDouble **ppOut,
                                           double *pdStep, VomoHandle *phOut) VOMO_NOEXCEPT;

/* As VomoFFT_COMPLEX_DOUBLE, in float and with pdStep before ppOut. */
VOMO_API VomoStatus VomoFFT_COMPLEX_FLOAT(const VomoComplexFloat *pSource, uint32_t ulMin,
                                          uint32_t ulMax, double dStep, double *pdStep,
                                          VomoComplexFloat **ppOut,
                                          VomoHandle *phOut) VOMO_NOEXCEPT;

/* Inverse of VomoFFT_COMPLEX_DOUBLE times n. */
VOMO_API VomoStatus VomoIFFT_COMPLEX_DOUBLE(const VomoComplexDouble *pSource, uint32_t ulMin,
                                            uint32_t ulMax, double dStep, VomoComplexDouble **ppOut,
                                            double *pdStep, VomoHandle *phOut) VOMO_NOEXCEPT;

/* Inverse of VomoFFT_COMPLEX_FLOAT times n, with ppOut before pdStep again. */
VOMO_API VomoStatus VomoIFFT_COMPLEX_FLOAT(const VomoComplexFloat *pSource, uint32_t ulMin,
                                           uint32_t ulMax, double dStep, VomoComplexFloat **ppOut,
                                           double *pdStep, VomoHandle *phOut) VOMO_NOEXCEPT;

/* Real to one-sided spectrum, unscaled: n doubles give the bins 0 to n/2, n/2 + 1 rounded down.
 * dSampleInterval: seconds between the elements, above 0.
 * ppOut: read on entry. NULL: the spectrum is allocated. Not NULL: the array it names is filled,
 *   must hold n/2 + 1 elements, and *phOut becomes 0.
 * pulOutCount: number of bins. pdFrequencyStep: 1 / (n * dSampleInterval), hertz.
 * pulOddFlag: 1 for odd n, 0 for even; the inverse needs it. */
VOMO_API VomoStatus VomoFFT_REAL_DOUBLE(const double *pSource, uint32_t ulMin, uint32_t ulMax,
                                        double dSampleInterval, uint32_t *pulOutCount,
                                        VomoComplexDouble **ppOut, double *pdFrequencyStep,
                                        uint32_t *pulOddFlag, VomoHandle *phOut) VOMO_NOEXCEPT;

/* One-sided spectrum to real, divided by the length: with ulMin 0 and ulMax the bin count less 1 it
 * undoes VomoFFT_REAL_DOUBLE.
 * ulOddFlag: as that function gave it; any value but 0 counts as 1.
 * pulOutCount: n = 2 * (ulMax - ulMin) + the odd flag. The imaginary parts of the first bin and,
 *   for even n, of the last one are not read. An n of 0 is a FFT_DESCRIPTOR_ERROR.
 * ppOut: n doubles; what it holds on entry does not matter here.
 * pdTimeStep: 1 / (n * dFrequencyStep), seconds. */
VOMO_API VomoStatus VomoIFFT_REAL_DOUBLE(const VomoComplexDouble *pSource, uint32_t ulMin,
                                         uint32_t ulMax, double dFrequencyStep, uint32_t ulOddFlag,
                                         uint32_t *pulOutCount, double **ppOut, double *pdTimeStep,
                                         VomoHandle *phOut) VOMO_NOEXCEPT;

/* Spectrum of the n visible samples ulMin to ulMax in decibels: bin k is 20 log10(|X[k]| / n).
 * A constant of 1 V gives 0 dB in bin 0; a bin of exactly 0 gives minus infinity with success.
 * pulOutCount: (n + 1) / 2 rounded down, so the Nyquist bin of an even n is left out.
 * ppfOut, phOut: the floats and their handle; the caller frees it.
 * PARAM_OUT_OF_RANGE when ulMax is not below the sample count. A transform that cannot be set up is
 * MEMORY_ALLOCATION_FAILED here. */
VOMO_API VomoStatus Vomo_DFT_OF_WAVEFORM_IN_DB(const VomoWaveform *psWaveform, uint32_t ulMin,
                                               uint32_t ulMax, uint32_t *pulOutCount,
                                               float **ppfOut, VomoHandle *phOut) VOMO_NOEXCEPT;

/* ============================== Capture files =============================================== */

/* The readers share their form. pulNumSamples is read and written: on entry the most samples
 * wanted, 0 for all; on success the number delivered. Each waveform comes with a handle that the
 * caller frees. A name that is NULL, empty or cannot be opened gives FILE_READ_ERROR, and the
 * message names the file. Any content ends in a status word. */

/* Reads volts from a text file: the second number of a line that has two (parted by a comma or
 * blanks), else its only number. A line without a digit, sign or point is passed over, so titles
 * and comments need no marks; text before the first such character is ignored. A line whose number
 * cannot be read repeats the preceding line's first one. Lines are read in pieces of 2047
 * characters.
 * ulLinesToSkip: lines passed over unseen at the start.
 * dSampleInterval: seconds; the file's own time column is not used.
 * UNEXPECTED_EOF for a file without data and for fewer lines than are to be skipped. */
VOMO_API VomoStatus Vomo_Read_Text_File(const char *pcFileName, uint32_t ulLinesToSkip,
                                        double dSampleInterval, uint32_t *pulNumSamples,
                                        VomoWaveform **ppsWaveform,
                                        VomoHandle *phWaveform) VOMO_NOEXCEPT;

/* Reads the first column of a simulator's binary transient file, of either byte order. The columns
 * lie one behind the other in the file, floats in equal shares; a data area shorter than one float
 * a column gives success with a waveform of 0 samples. Data ends at the end of the file or at a
 * block whose last float exceeds 9e29.
 * pdSampleInterval: seconds, read and not changed; the file has no usable interval.
 * FILE_READ_ERROR for a damaged header or no data, PARAM_OUT_OF_RANGE for a header without
 * columns. */
VOMO_API VomoStatus Vomo_Read_Spice_File(const char *pcFileName, const double *pdSampleInterval,
                                         uint32_t *pulNumSamples, VomoWaveform **ppsWaveform,
                                         VomoHandle *phWaveform) VOMO_NOEXCEPT;

/* As Vomo_Read_Spice_File, delivering the first two columns as two waveforms of one length.
 * PARAM_OUT_OF_RANGE for a file of fewer than two columns. When memory runs out between the two,
 * the first waveform stays allocated and undelivered until Vomo_Handle_Free_All. */
VOMO_API VomoStatus Vomo_Read_Combined_Spice_File(
    const char *pcFileName, const double *pdSampleInterval, uint32_t *pulNumSamples,
    VomoWaveform **ppsWaveform1, VomoHandle *phWaveform1, VomoWaveform **ppsWaveform2,
    VomoHandle *phWaveform2) VOMO_NOEXCEPT;

/* Reads the first waveform of a BIN file, whose waveforms are floats behind headers.
 * pdSampleInterval: output, seconds, as the file states it (0, negative or NaN included).
 * FILE_READ_ERROR for another file, a buffer of other content than float samples or of more of them
 * than its header counts, and for fewer samples in the file than wanted. A waveform without a data
 * header reads as zeros. */
VOMO_API VomoStatus Vomo_Read_BIN_File(const char *pcFileName, double *pdSampleInterval,
                                       uint32_t *pulNumSamples, VomoWaveform **ppsWaveform,
                                       VomoHandle *phWaveform) VOMO_NOEXCEPT;

/* As Vomo_Read_BIN_File for the first two waveforms, each with its own count and interval and
 * always whole. pdSampleInterval, pulNumSamples: outputs only, those of the first waveform.
 * NOT_ENOUGH_WAVEFORMS for a file of fewer than two. */
VOMO_API VomoStatus Vomo_Read_Combined_BIN_File(const char *pcFileName, double *pdSampleInterval,
                                                uint32_t *pulNumSamples,
                                                VomoWaveform **ppsWaveform1,
                                                VomoHandle *phWaveform1,
                                                VomoWaveform **ppsWaveform2,
                                                VomoHandle *phWaveform2) VOMO_NOEXCEPT;

/* Reads a TRC file: little-endian samples of 8 or 16 bits behind a "WAVEDESC" descriptor, made
 * volts by its gain and offset. A file cut short gives success: the count output is what there was,
 * while the record keeps the count that the descriptor states, its last samples 0.
 * pdSampleInterval: output, seconds.
 * FILE_READ_ERROR for another or a big-endian file, a descriptor or user text of 65536 bytes or
 * more, and for a file without a sample. */
VOMO_API VomoStatus Vomo_Read_TRC_File(const char *pcFileName, double *pdSampleInterval,
                                       uint32_t *pulNumSamples, VomoWaveform **ppsWaveform,
                                       VomoHandle *phWaveform) VOMO_NOEXCEPT;

/* Always NOT_IMPLEMENTED. */
VOMO_API VomoStatus Vomo_Read_Combined_TRC_File(void) VOMO_NOEXCEPT;

/* Reads a WFM file of version 1, 2 or 3, of either byte order. Samples that are NaN are stored as
 * 0; those before the first valid one are hidden in front (ulTrimFront), and as many as all others
 * are hidden behind (ulTrimBack). pdSampleInterval: output, seconds; also set when memory for the
 * samples can't be had. pulNumSamples: the count on success includes the hidden samples.
 * FILE_READ_ERROR for another version, a header cut short, or one that contradicts itself. Behind
 * the end of a file that is shorter than its header says, samples read as bytes of 0. */
VOMO_API VomoStatus Vomo_Read_WFM_File(const char *pcFileName, double *pdSampleInterval,
                                       uint32_t *pulNumSamples, VomoWaveform **ppsWaveform,
                                       VomoHandle *phWaveform) VOMO_NOEXCEPT;

/* Always NOT_IMPLEMENTED. */
VOMO_API VomoStatus Vomo_Read_Combined_WFM_File(void) VOMO_NOEXCEPT;

/* The ..._Two_Waveforms functions read the two legs of a differential signal: leg A from the
 * first-named file (or the first waveform of a file), leg B from the second.
 * pdSampleInterval: output, seconds; the files' intervals must be the same to the last bit.
 * pulNumSamples: on success the pair's count, that of the shorter leg. Both records show that many
 * samples, unless their comment says otherwise.
 * ppsWaveformA, phWaveformA, ppsWaveformB, phWaveformB: the legs, each with the handle that frees
 * it. ppfCommonMode, phCommonMode: (A + B) / 2, as many floats as leg A shows, 0 where leg B has no
 * sample, with the handle that frees them. Either of the two NULL: none is made. Both stay
 * untouched if there is no memory for the array. The words are those of the single reader, for the
 * file that the message names; and INCOMPATIBLE_SAMPLE_INTERVALS. On a failure nothing stays
 * allocated. */

/* The legs from two BIN files; file B is read first. */
VOMO_API VomoStatus Vomo_Read_Single_Ended_BIN_Two_Waveforms(
    const char *pcFileNameA, const char *pcFileNameB, double *pdSampleInterval,
    uint32_t *pulNumSamples, VomoWaveform **ppsWaveformA, VomoHandle *phWaveformA,
    VomoWaveform **ppsWaveformB, VomoHandle *phWaveformB, float **ppfCommonMode,
    VomoHandle *phCommonMode) VOMO_NOEXCEPT;

/* The legs from the first two waveforms of one BIN file; NOT_ENOUGH_WAVEFORMS if it has fewer. */
VOMO_API VomoStatus Vomo_Read_Single_Ended_Combined_BIN_Two_Waveforms(
    const char *pcFileName, double *pdSampleInterval, uint32_t *pulNumSamples,
    VomoWaveform **ppsWaveformA, VomoHandle *phWaveformA, VomoWaveform **ppsWaveformB,
    VomoHandle *phWaveformB, float **ppfCommonMode, VomoHandle *phCommonMode) VOMO_NOEXCEPT;

/* The legs from the first columns of two Spice files; file B is read first.
 * pdSampleInterval: input, seconds, of both legs. */
VOMO_API VomoStatus Vomo_Read_Single_Ended_Spice_Two_Waveforms(
    const char *pcFileNameA, const char *pcFileNameB, const double *pdSampleInterval,
    uint32_t *pulNumSamples, VomoWaveform **ppsWaveformA, VomoHandle *phWaveformA,
    VomoWaveform **ppsWaveformB, VomoHandle *phWaveformB, float **ppfCommonMode,
    VomoHandle *phCommonMode) VOMO_NOEXCEPT;

/* The legs from two TRC files; file B is read first. */
VOMO_API VomoStatus Vomo_Read_Single_Ended_TRC_Two_Waveforms(
    const char *pcFileNameA, const char *pcFileNameB, double *pdSampleInterval,
    uint32_t *pulNumSamples, VomoWaveform **ppsWaveformA, VomoHandle *phWaveformA,
    VomoWaveform **ppsWaveformB, VomoHandle *phWaveformB, float **ppfCommonMode,
    VomoHandle *phCommonMode) VOMO_NOEXCEPT;

/* The legs from two WFM files; file B is read first. The pair's count is that of stored samples,
 * the hidden ones included; of legs that store different numbers the longer one shows that count,
 * as far as its samples go, and the other is left as read. */
VOMO_API VomoStatus Vomo_Read_Single_Ended_WFM_Two_Waveforms(
    const char *pcFileNameA, const char *pcFileNameB, double *pdSampleInterval,
    uint32_t *pulNumSamples, VomoWaveform **ppsWaveformA, VomoHandle *phWaveformA,
    VomoWaveform **ppsWaveformB, VomoHandle *phWaveformB, float **ppfCommonMode,
    VomoHandle *phCommonMode) VOMO_NOEXCEPT;

/* The legs from two text files, file A first. If file B is the shorter one, leg A keeps its own
 * count. ulLinesToSkip and dSampleInterval as in Vomo_Read_Text_File, for both files. */
VOMO_API VomoStatus Vomo_Read_Single_Ended_Text_Two_Waveforms(
    const char *pcFileNameA, const char *pcFileNameB, uint32_t ulLinesToSkip,
    double dSampleInterval, uint32_t *pulNumSamples, VomoWaveform **ppsWaveformA,
    VomoHandle *phWaveformA, VomoWaveform **ppsWaveformB, VomoHandle *phWaveformB,
    float **ppfCommonMode, VomoHandle *phCommonMode) VOMO_NOEXCEPT;

/* The ..._Files functions read the same legs as the ..._Two_Waveforms function of their format and
 * deliver the differential waveform.
 * ppsWaveform, phWaveform: A - B in leg A's record. Samples of leg A for which leg B has none stay
 * as they are.
 * ppfCommonMode, phCommonMode: (2 B + (A - B)) / 2 in leg B's samples, as many as the pair counts;
 * the handle is leg B's and frees them. Either of the two NULL: leg B is freed.
 * Everything else as there. */

/* The difference of two BIN files. */
VOMO_API VomoStatus Vomo_Read_Single_Ended_BIN_Files(
    const char *pcFileNameA, const char *pcFileNameB, double *pdSampleInterval,
    uint32_t *pulNumSamples, VomoWaveform **ppsWaveform, VomoHandle *phWaveform,
    float **ppfCommonMode, VomoHandle *phCommonMode) VOMO_NOEXCEPT;

/* The difference of the first two waveforms of one BIN file. */
VOMO_API VomoStatus Vomo_Read_Single_Ended_Combined_BIN_File(
    const char *pcFileName, double *pdSampleInterval, uint32_t *pulNumSamples,
    VomoWaveform **ppsWaveform, VomoHandle *phWaveform, float **ppfCommonMode,
    VomoHandle *phCommonMode) VOMO_NOEXCEPT;

/* The difference of two Spice files. */
VOMO_API VomoStatus Vomo_Read_Single_Ended_Spice_Files(
    const char *pcFileNameA, const char *pcFileNameB, const double *pdSampleInterval,
    uint32_t *pulNumSamples, VomoWaveform **ppsWaveform, VomoHandle *phWaveform,
    float **ppfCommonMode, VomoHandle *phCommonMode) VOMO_NOEXCEPT;

/* The difference of two TRC files. */
VOMO_API VomoStatus Vomo_Read_Single_Ended_TRC_Files(
    const char *pcFileNameA, const char *pcFileNameB, double *pdSampleInterval,
    uint32_t *pulNumSamples, VomoWaveform **ppsWaveform, VomoHandle *phWaveform,
    float **ppfCommonMode, VomoHandle *phCommonMode) VOMO_NOEXCEPT;

/* The difference of two WFM files. */
VOMO_API VomoStatus Vomo_Read_Single_Ended_WFM_Files(
    const char *pcFileNameA, const char *pcFileNameB, double *pdSampleInterval,
    uint32_t *pulNumSamples, VomoWaveform **ppsWaveform, VomoHandle *phWaveform,
    float **ppfCommonMode, VomoHandle *phCommonMode) VOMO_NOEXCEPT;

/* The difference of two text files. */
VOMO_API VomoStatus Vomo_Read_Single_Ended_Text_Files(
    const char *pcFileNameA, const char *pcFileNameB, uint32_t ulLinesToSkip,
    double dSampleInterval, uint32_t *pulNumSamples, VomoWaveform **ppsWaveform,
    VomoHandle *phWaveform, float **ppfCommonMode, VomoHandle *phCommonMode) VOMO_NOEXCEPT;

/* Writes the visible samples of a waveform as text, a line "%13.12lg\t%7.6e\n" of time and voltage
 * for each; the time starts at 0 and is advanced by adding dSampleInterval, so that its rounding
 * errors add up. A waveform without samples makes an empty file. A file that can't be opened is
 * reported as FILE_READ_ERROR; errors of writing are not reported. */
VOMO_API VomoStatus Vomo_Write_File(const char *pcFileName,
                                    const VomoWaveform *psWaveform) VOMO_NOEXCEPT;

/* Scattering parameters of a four-port. The reader fills one record of the process: it has no
 * handle, nobody frees it, and the next read overwrites it. */
typedef struct VomoSparamData {
  /* Frequency points, at most 2000. */
  uint32_t ulSArrayLength;
  /* One matrix for each point, [point][row][column]. */
  VomoComplexFloat (*pspSArray)[4][4];
  /* Hertz: element 0 is 0.0, for DC, and point k stands at element k + 1. */
  double *pdSfreq;
  /* The caller sets the rest. Above 0: corner of a first-order low pass on the result, hertz. */
  double dFLowPass;
  /* Share of the result's samples hidden at each end: a fraction, 0.01 for one percent. */
  double dPercentToTrim;
  /* Bit value 1: also write the result as text to EmbedWaveDiffOut.txt in the working directory. */
  int32_t iFlags;
} VomoSparamData;

/* Reads a four-port Touchstone file into the process's one VomoSparamData record and delivers its
 * address; the next read overwrites it. Lines with # or ! come first; the last option line's unit
 * (Hz, kHz, MHz, GHz) and format (MA, DB, RI) hold, each by its first letter, in any case. Then
 * each point has four lines of numbers. Points behind the first 2000 are ignored. Leaves dFLowPass,
 * dPercentToTrim and iFlags as they are, and does not store the file's name for the messages.
 * FILE_READ_ERROR if the file can't be opened, UNEXPECTED_EOF for a file without a point; the
 * output then stays untouched, while the record's arrays may have been cleared. */
VOMO_API VomoStatus Vomo_Read_S4P_File(const char *pcFileName,
                                       VomoSparamData **ppsSparamData) VOMO_NOEXCEPT;

/* ============================== Timing: edges, clock, intervals, pattern ==================== */

/* Edges wanted from the crossover finder. Only the low two bits and bit value 16 matter: of the
 * values from 0 to 19 that are not named, each acts as its low two bits (and bit 16). */
enum {
  Vomo_CROSSOVERS_ALL = 0,            /* both senses, room for twice the expected number */
  Vomo_CROSSOVERS_RISING = 1,         /* every second edge, beginning with a rising one */
  Vomo_CROSSOVERS_FALLING = 2,        /* every second edge, beginning with a falling one */
  Vomo_CROSSOVERS_RISE_FALL = 3,      /* both senses, room for the expected number */
  Vomo_CROSSOVER_2PART_RISING = 17,   /* as 1, with room for two-part elements */
  Vomo_CROSSOVER_2PART_FALLING = 18,  /* as 2, with room for two-part elements */
  Vomo_CROSSOVER_2PART_RISE_FALL = 19 /* as 3, with room for two-part elements */
};

/* Bits of a crossover's flag byte. */
enum {
  CROSSOVER_RISE = 1,    /* rising edge */
  CROSSOVER_FALL = 2,    /* falling edge */
  CROSSOVER_DEEMPH = 4,  /* at least 1.5 UI after the edge before it */
  CROSSOVER_VIRTUAL = 8, /* clock edge put in between, no crossing of the signal; stands alone */
  CROSSOVER_2PART = 16   /* in requests only, never in a flag byte */
};

/* Outcome of the pattern check, a set of bits. */
enum {
  PATCHK_OK,        /* one of the patterns fits */
  PATCHK_ZERO,      /* a run length turned up that the pattern does not have */
  PATCHK_RATIO,     /* a run length's share is off by more than the allowed ratio */
  PATCHK_RATIO_ZERO /* both */
};

/* Allowed widths between neighbouring crossovers. A width of 0 or below switches its side off. */
typedef struct VomoCrossoverLimits {
  /* Seconds: spacings below the first or above the second are counted. */
  double dMinWidth, dMaxWidth;
  /* How many of each are tolerated; one more ends the search with INVALID_INTERVAL. */
  uint32_t ulMinLimit, ulMaxLimit;
} VomoCrossoverLimits;

/* One unit interval as the DFE sees it. */
typedef struct VomoTwoPartCrossover {
  /* Start and end, seconds; the end is the next element's start. */
  double dBegin, dEnd;
  /* Feedback level inside this UI, volts. */
  float fEnterThresh;
  /* UIs left in the run of equal bits, this one included. */
  uint32_t ulRunLeft;
  /* Bit of the UI: +1 or -1. */
  int8_t cLevel;
} VomoTwoPartCrossover;

/* One pattern, as the run lengths of a single repetition. */
typedef struct VomoPatDef {
  /* Longest run that is told apart; 66 at most, more counts as 66. */
  uint32_t ulPatDefLength;
  /* ulPatDefLength + 1 numbers: entry k is how many runs of k UI the pattern has, entry 0 how many
   * longer ones. */
  const double *pdPatDefCounts;
} VomoPatDef;

/* Check of a capture's run lengths against known patterns. Several definitions are tried: one that
 * fits gives PATCHK_OK whatever the later ones say, otherwise the failures of all add up. */
typedef struct VomoPatChkData {
  /* Repetitions to look at; 0, or more than the data holds, means as many as there are. */
  uint32_t ulPatChkCount;
  /* Definitions in psPatDefArray. */
  uint32_t ulPatDefCount;
  /* Largest relative error of a count that passes: 0.1 for ten percent. */
  double dPatRatioMax;
  const VomoPatDef *psPatDefArray;
  /* Written: edges for each UI, 1 for a clock pattern and about 0.5 for random data. */
  double dEdgeDensity;
  /* Written: PATCHK_OK to PATCHK_RATIO_ZERO. */
  uint32_t ePatChkResult;
} VomoPatChkData;

/* A list of edges: the crossovers of a waveform, or a clock with one entry for each unit interval.
 * One block behind one handle. */
typedef struct VomoCrossoverData {
  /* Entries in pdTimes and pucFlags. */
  uint32_t ulCount;
  /* Seconds from sample 0 of the waveform, wherever the search began. */
  double *pdTimes;
  /* One flag byte for each edge, see CROSSOVER_RISE. */
  uint8_t *pucFlags;
  /* NULL without the 16 bit in the request. The finder only reserves the elements, one for each
   * crossover there was room for; the DFE writes them. */
  VomoTwoPartCrossover *psTwoPartArray;
  uint32_t ulTwoPartCount;
  /* NULL from the library. A caller that sets it gets the pattern check from
   * Vomo_CONVERT_CROSSOVER_TO_CLOCK. */
  VomoPatChkData *psPatChkData;
} VomoCrossoverData;

/* What Vomo_Gen3Check reads from a capture of 128b/130b coded ordered sets. */
typedef struct VomoGen3CheckData {
  /* For the compliance drivers: they run the check when this is 1. The check itself ignores it. */
  uint8_t ucEnable;
  /* Bytes 23 and 24 behind the long runs, a byte whose two nibbles sum to 15 folded to its high
   * nibble (byte 24 of 0 is not folded). 0xFF when there is no pair of long runs. */
  uint8_t ucFirstValue, ucSecondValue;
  /* Read: blocks of 16 bytes wanted. Written: blocks delivered. */
  uint8_t ucBlockCount;
  /* The decoded bytes and their handle, set only when ucBlockCount is not 0; the caller frees
   * it. */
  uint8_t *pucBlocks;
  VomoHandle hBlocks;
} VomoGen3CheckData;

/* The crossover finder: crossings of 0 V, each placed by a straight line through the two samples
 * around it. A band of plus and minus fThreshold volts and a settling count decide which crossings
 * are real; they do not move them, so a placed time may even lie outside its two samples.
 *
 * psWaveform: at least one sample, sample interval above 0.
 * ulStartIdx, ulStopIdx: first and last sample of the search, the last above the first and below
 *   the sample count. Time 0 stays sample 0 of the waveform.
 * fThreshold: half the width of the band, volts.
 * ulFilterCount: samples in a row that must lie beyond the band after leaving it; 0 and 1 accept
 *   every edge. An edge for which the samples run out is dropped.
 * psCrossoverLimits: optional.
 * dUnitInterval: seconds; sizes the result and decides CROSSOVER_DEEMPH.
 * eCrossoverTypes: Vomo_CROSSOVERS_ALL and so on. The one-sided requests keep every second edge by
 *   position, on the assumption that edges alternate: behind a doubled edge they keep the wrong
 *   sense. Flags and pdMinInterval are formed over all edges, before that.
 * ppsCrossovers, phCrossovers: the list and its handle; the caller frees it.
 * ppdSlopes, phSlopes: optional. One slope for each crossover in volts a second, a block of its own
 *   that the caller frees; phSlopes is only written with ppdSlopes set.
 * pdMinInterval: smallest spacing, seconds; 1e12 with fewer than two crossovers.
 *
 * A waveform without a crossing is a success with an empty list.
 * PARAM_OUT_OF_RANGE for the bounds or interval above, INVALID_INTERVAL for too many spacings
 * outside the limits. The warning CROSSOVER_MEMORY_LIMIT: room was reckoned as 1.25 edges for each
 * UI searched, twice that for Vomo_CROSSOVERS_ALL and the one-sided requests, and was used up; the
 * search stopped there and what was found is delivered. */
VOMO_API VomoStatus Vomo_FIND_CROSSOVERS_FILT(
    const VomoWaveform *psWaveform, float fThreshold, uint32_t ulFilterCount,
    const VomoCrossoverLimits *psCrossoverLimits, uint32_t ulStartIdx, uint32_t ulStopIdx,
    double dUnitInterval, uint32_t eCrossoverTypes, VomoCrossoverData **ppsCrossovers,
    VomoHandle *phCrossovers, double **ppdSlopes, VomoHandle *phSlopes,
    double *pdMinInterval) VOMO_NOEXCEPT;

/* Vomo_FIND_CROSSOVERS_FILT without limits. */
VOMO_API VomoStatus Vomo_FIND_CROSSOVERS_EX(
    const VomoWaveform *psWaveform, float fThreshold, uint32_t ulFilterCount, uint32_t ulStartIdx,
    uint32_t ulStopIdx, double dUnitInterval, uint32_t eCrossoverTypes,
    VomoCrossoverData **ppsCrossovers, VomoHandle *phCrossovers, double **ppdSlopes,
    VomoHandle *phSlopes, double *pdMinInterval) VOMO_NOEXCEPT;

/* Vomo_FIND_CROSSOVERS_FILT with a band of 1 mV, a settling count of 3 and no limits. */
VOMO_API VomoStatus Vomo_FIND_CROSSOVERS(const VomoWaveform *psWaveform, uint32_t ulStartIdx,
                                         uint32_t ulStopIdx, double dUnitInterval,
                                         uint32_t eCrossoverTypes,
                                         VomoCrossoverData **ppsCrossovers,
                                         VomoHandle *phCrossovers, double **ppdSlopes,
                                         VomoHandle *phSlopes, double *pdMinInterval) VOMO_NOEXCEPT;

/* Makes a clock from crossovers: one entry for each unit interval, so that an index is a bit
 * number. Edges that the data did not make are put in at equal spacing and flagged
 * CROSSOVER_VIRTUAL; real edges keep time and flags, and the last entry is always real. Two-part
 * elements are copied whole.
 *
 * psCrossovers: at least two. With its psPatChkData set, the pattern check runs on the run lengths
 *   used here and leaves its outcome there; a pattern that does not fit is no failure.
 * ulStartIdx, ulStopIdx: first and last crossover used, the last above the first and below ulCount.
 * dUnitInterval: seconds, above 0; only used when psRunLengths is NULL.
 * psRunLengths: optional. UIs from each crossover to the next, indexed like the crossovers; at
 *   least 1 each, a smaller one adds no edges. When NULL, they are found here for the whole list
 *   and used from the list's beginning even if ulStartIdx is above 0, so pass 0 then.
 * ppsClock, phClock: the clock and its handle; the caller frees it. Its psPatChkData is NULL.
 * PARAM_OUT_OF_RANGE for the indices, PARAM_NOT_VALID for a unit interval that is used and not
 * above 0. */
VOMO_API VomoStatus Vomo_CONVERT_CROSSOVER_TO_CLOCK(const VomoCrossoverData *psCrossovers,
                                                    uint32_t ulStartIdx, uint32_t ulStopIdx,
                                                    double dUnitInterval,
                                                    const int16_t *psRunLengths,
                                                    VomoCrossoverData **ppsClock,
                                                    VomoHandle *phClock) VOMO_NOEXCEPT;

/* Seconds from each edge to the next, for the edges ulStartIdx to ulStopIdx (at least two in the
 * list, the last index above the first and below ulCount): ulStopIdx - ulStartIdx values.
 * A list with two-part elements gives the spans of the elements that cover those times instead, and
 * their number may differ; always use the returned count.
 * ppdIntervals, phIntervals: the array and its handle; the caller frees it.
 * PARAM_OUT_OF_RANGE for the indices; PARAM_NOT_VALID when the two-part elements hold no such
 * stretch. */
VOMO_API VomoStatus Vomo_CONVERT_CROSSOVER_TO_INTERVAL(const VomoCrossoverData *psCrossovers,
                                                       uint32_t ulStartIdx, uint32_t ulStopIdx,
                                                       uint32_t *pulIntervalCount,
                                                       double **ppdIntervals,
                                                       VomoHandle *phIntervals) VOMO_NOEXCEPT;

/* Intervals less their arithmetic mean, seconds, for the elements ulStartIdx to ulStopIdx of
 * ulIntervalCount (at least two): ulStopIdx - ulStartIdx + 1 values. A stretch of one element is
 * refused.
 * ppdErrors, phErrors: the array and its handle; the caller frees it.
 * PARAM_OUT_OF_RANGE for the indices, COMPUTATION_ERROR with a reason for a failing array
 * operation. */
VOMO_API VomoStatus Vomo_FIND_INTERVAL_ERROR(uint32_t ulIntervalCount, const double *pdIntervals,
                                             uint32_t ulStartIdx, uint32_t ulStopIdx,
                                             uint32_t *pulErrorCount, double **ppdErrors,
                                             VomoHandle *phErrors) VOMO_NOEXCEPT;

/* Whole UIs from each crossover to the next: ulCount - 1 values, rounded to the nearest and at
 * least 1. A gap above 32767 UI wraps at 16 bits.
 * dUnitInterval: seconds, above 0, else PARAM_NOT_VALID.
 * ppsRunLengths: read on entry. NULL: the array is allocated, and *phRunLengths is its handle,
 *   which the caller frees. Not NULL: that array is filled, and *phRunLengths is left alone.
 * One crossover gives success without an array (NULL and handle 0); none gives PARAM_NOT_VALID. */
VOMO_API VomoStatus VomoFIND_RUN_LENGTHS(const VomoCrossoverData *psCrossovers,
                                         double dUnitInterval, int16_t **ppsRunLengths,
                                         VomoHandle *phRunLengths) VOMO_NOEXCEPT;

/* Decodes bytes from run lengths alone: looks for two neighbouring runs of 64 UI or more and reads
 * on from there in blocks of 16 bytes with two sync bits behind each, the first bit received being
 * the least significant. At least four blocks are read inside, so that the two values can be told.
 * A list without such runs is a success with 0xFF in both values and no blocks.
 * PARAM_NOT_VALID for a unit interval not above 0 or an empty list. */
VOMO_API VomoStatus Vomo_Gen3Check(const VomoCrossoverData *psCrossovers, double dUnitInterval,
                                   VomoGen3CheckData *psGen3Check) VOMO_NOEXCEPT;

/* ============================== Jitter statistics =========================================== */

/* Histogram of a run's jitter. The arrays belong to the library, see Vomo_GENERAL_COMPLIANCE. */
typedef struct VomoJitterPdfRecord {
  /* Abscissa of element 0 of pdPDF, seconds. */
  double dFirstBinValue;
  double dReserved1;
  /* Bin width, seconds. */
  double dPDFBinSize;
  /* Bins in pdPDF. */
  uint32_t ulBinCount;
  /* Share of the hits in each bin; they sum to 1. */
  double *pdPDF;
  uint64_t ulReserved2;
} VomoJitterPdfRecord;

/* Tails of a run's jitter on the Q scale and the lines fitted to them. The left tail stands on a
 * mirrored axis, abscissae negated, so that both curves fall from left to right. */
typedef struct VomoJitterQRecord {
  /* As in VomoJitterPdfRecord. */
  double dFirstBinValue;
  double dReserved1;
  double dPDFBinSize;
  /* Elements in each curve: the histogram's bins less 1. */
  uint32_t ulFitCount;
  uint8_t aucReserved2[20];
  /* Each line by two points: X0 is its Dirac position (Q of 0), X1 where it reaches the target Q,
   * seconds, the left pair on the mirrored axis. */
  double dLeftLineX0, dLeftLineX1, dRightLineX0, dRightLineX1;
  /* The Q of those points: 0.0 and dTargetBERQVal. */
  double dLeftLineY0, dLeftLineY1, dRightLineY0, dRightLineY1;
  /* pdQFromRight: the left tail, element k at -(ulFitCount * bin size + first bin value) + k * bin
   * size. pdQFromLeft: the right tail, element k at first bin value + k * bin size. */
  double *pdQFromRight, *pdQFromLeft;
  uint8_t aucReserved3[8];
} VomoJitterQRecord;

/* Settings of the noise floor search: the floor of a stretch of spectrum is its median plus a
 * number of standard deviations. */
typedef struct VomoNoiseFloorAlgParams {
  /* Standard deviations above the median. */
  float fNumStandardDeviations;
  /* Bins at or above this multiple of the median are left out before the statistics are taken
   * again; 0.0: none. */
  float fMultFromMedianToIgnore;
  /* Hertz at which the second and the third stretch length take over. */
  double dNoiseFloorCutoff1, dNoiseFloorCutoff2;
  /* Stretch lengths below, between and above those, hertz. */
  double dNoiseFreqRange1, dNoiseFreqRange2, dNoiseFreqRange3;
} VomoNoiseFloorAlgParams;

/* Settings for flattening the line of spread-spectrum clocking and its odd harmonics. */
typedef struct VomoSSCSquelchParams {
  /* Band in which the fundamental is looked for, hertz. */
  double dSSC_min_freq, dSSC_max_freq;
  /* Nothing happens unless the fundamental's amplitude exceeds this. */
  double dSSC_min_fund_mag;
  /* Half-widths in hertz: flattened about the fundamental, flattened about a harmonic, searched
   * about a harmonic's expected place. */
  double dSSC_fund_squelch_range, dSSC_squelch_range, dSSC_look_range;
  /* Highest harmonic treated. */
  int32_t iSSC_max_harmonic;
} VomoSSCSquelchParams;

/* The run records; their fields stand with the compliance drivers. */
typedef struct VomoComplianceParams VomoComplianceParams;
typedef struct VomoComplianceResults VomoComplianceResults;

/* Normalised histogram of jitter values with its two running sums.
 *
 * pdValues, ulValueCount: at least two different values, any unit.
 * dBinSize: bin width in that unit, above 0 and finite.
 * ulTrimCount: outer bins with fewer hits are dropped, from each end up to the first bin that has
 *   as many; 0 keeps all. The kept bins are scaled to sum to 1, so a bin is no longer hits divided
 *   by the value count.
 * pdFirstBinValue: abscissa of the first kept bin. Bins are laid out from the least value, the
 *   abscissa is the multiple of dBinSize below it: it may be off by up to one bin width.
 * pulBinCount: bins kept.
 * ppdPDF: the kept bins, rising abscissa.
 * ppdCDFFromRight: optional. Sums from the last kept bin downwards: element k includes bin
 *   *pulBinCount - 1 - k, so it runs against the abscissa.
 * ppdCDFFromLeft: optional. Sums from the first kept bin upwards. Both end at about 1.
 * pHandle: one handle for all three arrays; the caller frees it.
 * PARAM_NOT_VALID for no values, a bad bin size, values that are all equal, and a trim that leaves
 * nothing. A range of too many bins is MEMORY_ALLOCATION_FAILED. */
VOMO_API VomoStatus VomoCREATE_PDF_CDF(const double *pdValues, uint32_t ulValueCount,
                                       double dBinSize, uint32_t ulTrimCount,
                                       double *pdFirstBinValue, uint32_t *pulBinCount,
                                       double **ppdPDF, double **ppdCDFFromRight,
                                       double **ppdCDFFromLeft, VomoHandle *pHandle) VOMO_NOEXCEPT;

/* Q scale of cumulative probabilities, on which a Gaussian tail is a straight line:
 * Q(p) = sqrt(2) * erfinv(1 - 2p), so 0.5 gives 0, a small p a large positive Q, 0 plus infinity
 * and 1 minus infinity.
 *
 * pdCDFFromRight, pdCDFFromLeft: ulCount probabilities each; either may be NULL if its output is.
 * dBinSize, dFirstBinValue: not used.
 * ppdQFromRight, ppdQFromLeft: ulCount values each; NULL for one that is not wanted.
 * pHandle: one handle for both; the caller frees it.
 * PARAM_NOT_VALID when neither output is wanted or a wanted one has no input;
 * MEMORY_ALLOCATION_FAILED also for a count of 0. */
VOMO_API VomoStatus VomoCREATE_QSCALE_FROM_CDF(const double *pdCDFFromRight,
                                               const double *pdCDFFromLeft, double dBinSize,
                                               double dFirstBinValue, uint32_t ulCount,
                                               double **ppdQFromRight, double **ppdQFromLeft,
                                               VomoHandle *pHandle) VOMO_NOEXCEPT;

/* Least-squares line y = slope * x + intercept through the elements ulFirst to ulLast of two arrays
 * of ulCount.
 * pdGoodness: 1 - (1 - r^2) * (ulCount - 1) / (ulCount - n - 1) with n the elements used. It has
 *   the form of an adjusted r^2 but takes the whole array as sample size and n as number of
 *   regressors; for n = ulCount the divisor wraps to 2^32 - 1 and the figure is very nearly 1 for
 *   any data.
 * Fewer than two different abscissae give a slope that is not finite, with success.
 * PARAM_NOT_VALID when the slice is empty or does not lie inside the arrays. */
VOMO_API VomoStatus Vomo_Find_Linear_Fit(const double *pdX, const double *pdY, uint32_t ulCount,
                                         uint32_t ulFirst, uint32_t ulLast, double *pdSlope,
                                         double *pdIntercept, double *pdGoodness) VOMO_NOEXCEPT;

/* Line through the end of a Q curve, solved for a target Q: x = (dTargetQ - intercept) / slope. The
 * slope of a Gaussian tail of deviation s is -1/s, and the intercept times s is its mean.
 *
 * pulCount: points in pdQ, at least 2; read only.
 * pdQ: the curve, element k at dFirstX + k * dStep. dStep above 0 (a NaN is let through).
 * dSlope: the slope to use. The intercept is then the mean of pdQ[k] - x[k] * dSlope over the last
 *   points: walking back from the end, a drop of that value by more than 0.01 ends the walk, a rise
 *   does not, and point 0 is never used.
 *   Exactly 0.0 searches slices for slope and intercept, and keeps the fit with the smallest
 *   positive goodness. That costs on the order of n^2 fits and is meant for short curves.
 * dTargetQ: usually negative, see dTargetBERQVal.
 * ulNumPoints: the most points to use with a given slope; above the point count it means one point.
 * pdTargetX, pdSlopeOut, pdInterceptOut: where the line reaches dTargetQ, and the line.
 * PARAM_NOT_VALID for fewer than 2 points, a step not above 0, and a search that finds no fit
 * (always with fewer than 4 points). */
VOMO_API VomoStatus VomoFIT_CDF(const uint32_t *pulCount, const double *pdQ, double dStep,
                                double dFirstX, double dSlope, double dTargetQ,
                                uint32_t ulNumPoints, double *pdTargetX, double *pdSlopeOut,
                                double *pdInterceptOut) VOMO_NOEXCEPT;

/* Splits jitter into two Dirac positions and Gaussian tails. Histogram, Q scale, and a line for
 * each tail; with the slope -1/Rj and the target Q each side reaches position - Q * Rj, so
 *   Dj = left + right position,   Tj = Dj - 2 * Q * Rj,
 * the left position being on a mirrored axis. The Q scale is taken of the probability as it stands,
 * without a factor of one half for each Dirac.
 *
 * pdJitter, ulCount: the sequence, seconds. ulTrimCount values are left out at each end.
 * sParameters: reads dPDFBinSize, dTargetBERQVal, ulRemoveBinsNumPoints, ulNumPointsToUseInCdfFit.
 * pdRjRMS: read and written, seconds rms. Not 0.0: the Rj to use, left as it is. Exactly 0.0: Rj is
 *   measured on each side by a line through its curve from point 10 on; each side's position uses
 *   its own Rj, and the mean of the two is written.
 * psResults: dDualDiracLeft and dDualDiracRight are written, nothing else is touched.
 * pdDj, pdTj: seconds.
 * The curves stay with the library until the next fit.
 * PARAM_NOT_VALID for a trim that leaves nothing, a sequence whose histogram VomoCREATE_PDF_CDF
 * refuses, and too few bins: below 13 when Rj is measured, below 3 when it is given. On a failure
 * nothing of the above is written. */
VOMO_API VomoStatus VomoFIT_DUAL_DIRAC(const double *pdJitter, uint32_t ulCount,
                                       uint32_t ulTrimCount, VomoComplianceParams sParameters,
                                       double *pdRjRMS, VomoComplianceResults *psResults,
                                       double *pdDj, double *pdTj) VOMO_NOEXCEPT;

/* Noise floor of a one-sided spectrum, constant over each stretch of frequency.
 *
 * pcSpectrum, ulCount: bins from DC. dTimeStep: seconds between the values that were transformed;
 *   the bin spacing is 1 / ((2 * ulCount - 2) * dTimeStep).
 * sNoiseFloorAlgParams: stretch lengths below one bin count as one bin.
 * ppdFloor: read on entry. NULL: the floor is allocated, and *pHandle is its handle, which the
 *   caller frees. Not NULL: that array of ulCount doubles is filled, and *pHandle becomes 0.
 * PARAM_OUT_OF_RANGE for a count of 0. */
VOMO_API VomoStatus VomoFIND_NOISE_FLOOR(const VomoComplexDouble *pcSpectrum, uint32_t ulCount,
                                         VomoNoiseFloorAlgParams sNoiseFloorAlgParams,
                                         double dTimeStep, double **ppdFloor,
                                         VomoHandle *pHandle) VOMO_NOEXCEPT;

/* Takes every bin that stands above the floor down to it, keeping its phase: a magnitude m above
 * pdFloor[k] is scaled by (pdFloor[k] - dFloorOffset) / m. Bin 0 is never changed.
 * ppcResult: read on entry, NULL or an array of ulCount to fill, with *pHandle as in
 *   VomoFIND_NOISE_FLOOR. The source stays as it is.
 * PARAM_OUT_OF_RANGE for a count of 0. */
VOMO_API VomoStatus VomoFIND_SPIKES_ABOVE_NOISE_FLOOR(const VomoComplexDouble *pcSpectrum,
                                                      const double *pdFloor, uint32_t ulCount,
                                                      double dFloorOffset,
                                                      VomoComplexDouble **ppcResult,
                                                      VomoHandle *pHandle) VOMO_NOEXCEPT;

/* Parts the elements ulFirst to ulLast by sign, into two arrays of one block. Positives come in
 * their order, negatives last found first. Zeros and NaN are dropped and their places filled with
 * 0.0: the gap is shared, so each array carries zeros (the positives at their end, the negatives in
 * front) and the counts add up to the range, or to one less when the gap was odd.
 * pHandle: one handle for both arrays; the caller frees it.
 * PARAM_NOT_VALID when ulFirst is not below ulLast. */
VOMO_API VomoStatus VomoFIND_POSITIVE_AND_NEGATIVE_VALUES(
    const double *pdValues, uint32_t ulFirst, uint32_t ulLast, uint32_t *pulPositiveCount,
    double **ppdPositive, uint32_t *pulNegativeCount, double **ppdNegative,
    VomoHandle *pHandle) VOMO_NOEXCEPT;

/* Flattens the line that spread-spectrum clocking leaves in a spectrum, and its odd harmonics, and
 * then mirrors the lower half into the upper one (first part as it is, second part negated). No
 * other function of the library calls it. psSpectrum: ulCount bins, changed in place; dDeltaF hertz
 * apart. The first part of a bin is its amplitude, read through its absolute value and doubled; the
 * second is carried along. psSSCSquelchParams: search band and ranges in hertz. The fundamental is
 * the largest bin of the band; its surroundings become a rising ramp, those of a harmonic one
 * constant. A fundamental not above dSSC_min_fund_mag, or too near to bin 0, leaves the whole
 * spectrum as it was. The first harmonic that the spectrum does not hold with its ranges ends the
 * search for more. A fundamental range of less than one bin gives NaN, as 0 / 0 does. Always
 * Vomo_STATUS_SUCCESS; a NULL pointer or a count of 0 does nothing. */
VOMO_API VomoStatus Vomo_SSC_SQUELCH(VomoComplexDouble *psSpectrum, uint32_t ulCount,
                                     double dDeltaF,
                                     const VomoSSCSquelchParams *psSSCSquelchParams) VOMO_NOEXCEPT;

/* ============================== Filters and equalisation ==================================== */

/* Orders of VomoGENERATE_SIMPLE_FILTER. */
enum {
  BRICK_WALL,   /* 1 in the pass band, a floor outside */
  FIRST_ORDER,  /* dFc is the 3 dB corner */
  SECOND_ORDER, /* natural frequency and damping */
  THIRD_ORDER,  /* from here on a straight slope of 3 dB an octave for each order, zero phase */
  FOURTH_ORDER, /* from here on fZ scales the slope */
  FIFTH_ORDER,  /* 15 dB an octave */
  SIXTH_ORDER,  /* 18 dB an octave */
  SEVENTH_ORDER /* 21 dB an octave */
};

/* What makes an equaliser setting the best one. */
enum {
  OPT_EYE_WIDTH,  /* widest eye */
  OPT_EYE_HEIGHT, /* highest eye */
  OPT_EYE_AREA,   /* width times height */
  OPT_EYE_RATIO   /* transition and non-transition openings most alike */
};

/* How the DFE reads the level of a unit interval. */
enum { Vomo_FIND_MIN, Vomo_FIND_MAX, Vomo_FIND_AVG };

/* A filter of the jitter path or a PLL. */
typedef struct VomoFilterParams {
  /* Corner frequency, hertz. */
  double dFc;
  /* Damping; from order 4 on the gain of the slope. */
  double dZ;
  /* Carried; no filter reads them. */
  double dFp, dDel;
} VomoFilterParams;

/* One setting of the continuous-time linear equaliser. */
typedef struct VomoCTLEParams {
  /* Gain at DC, linear. */
  float fAdc;
  /* The zero and the two poles, hertz. */
  float fFz, fFp1, fFp2;
} VomoCTLEParams;

/* Decision feedback equaliser. Of the arrays only the first iDFETapCount entries mean anything. */
typedef struct VomoDFEParams {
  /* Nominal unit interval, seconds. */
  double dUnitInterval;
  /* Volts: bounds of each tap; the taps, read, and written after clamping or estimation; and values
   * that are only carried. */
  float afTapMin[16], afTapMax[16], afDFETapValues[16], afTemplateTapValues[16];
  /* Taps in use, at most 16. */
  int32_t iDFETapCount;
  /* Not 0: estimate the first tap from the waveform. */
  int32_t iDFEComputeTaps;
  /* Carried. */
  int32_t iDFENumStepsUsed;
  /* Carried. */
  float fStepSize;
  /* Samples that an edge must persist. */
  int32_t iPtsAboveThresh;
  /* Unit intervals to analyse; 0 for all. */
  int32_t iUICount;
  /* Carried. */
  int32_t iRunLength, iStepCnt;
  /* OPT_EYE_WIDTH and so on. */
  uint32_t eOptValue;
  /* Vomo_FIND_MIN and so on. */
  uint32_t eHeightType;
} VomoDFEParams;

/* The filter generators. Each makes ulCount complex values, entry k for the frequency k * dDeltaF
 * hertz, entry 0 for DC; the upper half of a two-sided spectrum is not mirrored. *ppsFilter and
 * *phFilter receive the array and its handle; the caller frees it. iHighPass of 0 is a low pass,
 * anything else a high pass. No number is checked: a corner of 0 or a damping out of range gives
 * NaN or infinity where the formula does. A count of 0 is MEMORY_ALLOCATION_FAILED. */

/* Low pass dFc / (dFc + jf), high pass jf / (dFc + jf). On a failure *phFilter becomes 0. */
VOMO_API VomoStatus VomoGENERATE_FIRST_ORDER_FILTER(double dDeltaF, uint32_t ulCount,
                                                    int32_t iHighPass, double dFc,
                                                    VomoComplexDouble **ppsFilter,
                                                    VomoHandle *phFilter) VOMO_NOEXCEPT;

/* With a = dFc^2 - f^2 and b = 2 dZ dFc f: low pass dFc^2 / (a + jb), high pass -f^2 / (a - jb).
 * The phase of this high pass has the opposite sign to that of the H3 filter, and that is meant.
 * dZ: damping. On a failure *phFilter becomes 0. */
VOMO_API VomoStatus VomoGENERATE_SECOND_ORDER_FILTER(double dDeltaF, uint32_t ulCount,
                                                     int32_t iHighPass, double dFc, double dZ,
                                                     VomoComplexDouble **ppsFilter,
                                                     VomoHandle *phFilter) VOMO_NOEXCEPT;

/* High pass -f^2 / (fn^2 - f^2 + j 2 fn f fZ) with the natural frequency fn = dFc / sqrt(1 - fZ^2);
 * the radicand is formed in float. There is no low pass of this kind. fZ: damping, below 1. On a
 * failure *phFilter becomes 0. */
VOMO_API VomoStatus VomoGENERATE_SECOND_ORDER_H3_FILTER(double dDeltaF, uint32_t ulCount,
                                                        double dFc, float fZ,
                                                        VomoComplexDouble **ppsFilter,
                                                        VomoHandle *phFilter) VOMO_NOEXCEPT;

/* VomoGENERATE_PLL_FILTER_WITH_DELAY with a delay of 0. */
VOMO_API VomoStatus VomoGENERATE_PLL_FILTER(double dDeltaF, uint32_t ulCount, double dFc, float fZ,
                                            VomoComplexDouble **ppsFilter,
                                            VomoHandle *phFilter) VOMO_NOEXCEPT;

/* Closed loop of a second-order type-2 PLL, (2 z wn s + wn^2) / (s^2 + 2 z wn s + wn^2), times the
 * delay exp(-s fDel). wn is chosen so that the loop is 3 dB down at dFc hertz.
 * fZ: damping z, 0 allowed. fDel: seconds.
 * PARAM_NOT_VALID for a count of 1. */
VOMO_API VomoStatus VomoGENERATE_PLL_FILTER_WITH_DELAY(double dDeltaF, uint32_t ulCount, double dFc,
                                                       float fZ, float fDel,
                                                       VomoComplexDouble **ppsFilter,
                                                       VomoHandle *phFilter) VOMO_NOEXCEPT;

/* Filter by order; orders 1 and 2 are the generators above with dZ = fZ.
 * eFilterOrder BRICK_WALL: 1 on the side that passes and fBrickFloor on the other; a corner that
 *   falls on an entry leaves it to the upper side. fZ is not read.
 * THIRD_ORDER and above, N the order: zero phase, flat at 1 and a slope of 3 N dB an octave that a
 *   high pass leaves 3 dB down at dFc. The slope runs the same way in a low pass, which thus rises
 *   above its corner. From order 4 on the slope is multiplied by fZ: give 1 for a continuous
 *   response. */
VOMO_API VomoStatus VomoGENERATE_SIMPLE_FILTER(double dDeltaF, uint32_t ulCount, int32_t iHighPass,
                                               uint32_t eFilterOrder, float fBrickFloor, double dFc,
                                               float fZ, VomoComplexDouble **ppsFilter,
                                               VomoHandle *phFilter) VOMO_NOEXCEPT;

/* A placeholder that always returns NOT_IMPLEMENTED and delivers an array of ulCount unset values
 * all the same: the caller owns it and frees it. */
VOMO_API VomoStatus VomoGENERATE_CLOCK_ANALYSIS_FILTER(double dDeltaF, uint32_t ulCount, double dFc,
                                                       float fZ, VomoComplexDouble **ppsFilter,
                                                       VomoHandle *phFilter) VOMO_NOEXCEPT;

/* A copy of psFilter, ulCount values, with the delay of fDel seconds multiplied into it. */
VOMO_API VomoStatus VomoADD_PLL_FILTER_DELAY(const VomoComplexDouble *psFilter, double dDeltaF,
                                             uint32_t ulCount, float fDel,
                                             VomoComplexDouble **ppsFilter,
                                             VomoHandle *phFilter) VOMO_NOEXCEPT;

/* Puts a waveform through a low pass of one pole at dFc hertz, sample after sample, in place.
 * Sample 0 stays as it is. PARAM_NOT_VALID for fewer than 2 samples; PARAM_OUT_OF_RANGE for a
 * sample interval or dFc not above 0 and for dFc at or above half the sample rate. */
VOMO_API VomoStatus VomoAPPLY_CLOCK_FILTER_TO_WAVEFORM(VomoWaveform *psWaveform,
                                                       double dFc) VOMO_NOEXCEPT;

/* Puts the visible samples through the filter of first or second order that
 * VomoGENERATE_FIRST_ORDER_FILTER or VomoGENERATE_SECOND_ORDER_FILTER makes, in double precision.
 * The transform takes the samples as one turn of a circle: a step from the last one to the first is
 * filtered like any other.
 * iOrder: 1 or 2. dFc: hertz. dZ: damping of order 2, not read for order 1. iHighPass: 0 low pass.
 * ppsFiltered, phFiltered: a new waveform of as many samples and no hidden ones; the caller frees
 * it.
 * PARAM_OUT_OF_RANGE for another order and for dFc, the sample interval or, in order 2, dZ not
 * above 0; MEMORY_ALLOCATION_FAILED also for a waveform without samples. */
VOMO_API VomoStatus VomoAPPLY_SIMPLE_FILTER_TO_WAVEFORM(const VomoWaveform *psWaveform,
                                                        int32_t iOrder, double dFc, double dZ,
                                                        int32_t iHighPass,
                                                        VomoWaveform **ppsFiltered,
                                                        VomoHandle *phFiltered) VOMO_NOEXCEPT;

/* VomoAPPLY_SIMPLE_FILTER_TO_WAVEFORM of order 1. */
VOMO_API VomoStatus VomoAPPLY_FIRST_ORDER_FILTER_TO_WAVEFORM(const VomoWaveform *psWaveform,
                                                             double dFc, int32_t iHighPass,
                                                             VomoWaveform **ppsFiltered,
                                                             VomoHandle *phFiltered) VOMO_NOEXCEPT;

/* Continuous-time linear equaliser, in the frequency domain and in float: with s = j 2 pi f,
 *   H = fAdc * p1 * p2 * (1 + s / z) / ((p1 + s) (p2 + s)),  z = 2 pi fFz and so on,
 * so the gain at DC is fAdc. The zero and the poles are in hertz.
 * So that the transform's circle closes without a step, the result hides samples at both ends:
 * first up to a front sample outside the middle half of the signal's range and behind a back sample
 * that matches it, then 3 more at each end. Hidden samples keep their unfiltered values. A signal
 * that does not swing about zero is trimmed less. psWaveform: at least 7 samples after that first
 * trimming. Changed only if a work buffer can't be had: it then hides more samples at its end until
 * a shorter transform succeeds. ppsFiltered, phFiltered: a new waveform of all stored samples,
 * trimmed; the caller frees it. PARAM_OUT_OF_RANGE for fewer samples and for a parameter or sample
 * interval not above 0. */
VOMO_API VomoStatus VomoAPPLY_CTLE_FILTER_TO_WAVEFORM(VomoWaveform *psWaveform, float fAdc,
                                                      float fFz, float fFp1, float fFp2,
                                                      VomoWaveform **ppsFiltered,
                                                      VomoHandle *phFiltered) VOMO_NOEXCEPT;

/* Rounds ulCount VomoComplexDouble in pBuffer to as many VomoComplexFloat at its beginning; beyond
 * the float range the result is infinite. Always success; NULL does nothing. */
VOMO_API VomoStatus VomoCONVERT_FC64_FC32_I(uint32_t ulCount, void *pBuffer) VOMO_NOEXCEPT;

/* The two functions below walk over a waveform as a receiver with a DFE does. A decision is in
 * force, and the taps make a feedback level of it and of those before: tap 0 weighs the decision in
 * force, taps 1 and 2 both weigh the one before, taps 3 and 4 the one before that, and so on. An
 * edge lies where the signal crosses that level, stays beyond it for more than iPtsAboveThresh
 * samples, and reaches the level that the other decision would bring. Between two edges the clock
 * has as many two-part elements as there are unit intervals, of equal length and with the level of
 * each; before the first edge and behind the last one it has none. A walk whose next edge would not
 * come later than the one before ends with DFE_SEARCH_FAILED; it adds a line to "DFE_Error.txt" in
 * the working directory and leaves two blocks in the table until Vomo_Handle_Free_All.
 *
 * psDFEParams, read: dUnitInterval, the taps (the first iDFETapCount, at most 16; none act as a
 *   single tap of 0 V), iPtsAboveThresh, eHeightType. Written: the taps. With iDFEComputeTaps the
 *   others are cleared, and a first tap of exactly 0.0 is estimated from the levels of bits with
 * and without an edge before them; then each tap is clamped to its bounds. */

/* Judges taps by the eye that they open, sampled from 0.4 to a little past 0.6 of each unit
 * interval. psDFEParams: also reads iUICount, the unit intervals to analyse from the first sample
 * on (0: all), and eOptValue. pdMinInterval, pdMaxInterval: shortest and longest element, seconds.
 * pfEyeHigh, pfEyeLow: the levels nearest to 0 V at the sampling phase whose height is least; with
 *   OPT_EYE_RATIO at that of the best score.
 * pfTransHigh, pfTransLow, pfNonTransHigh, pfNonTransLow: optional. Largest levels by magnitude
 * there, volts, of bits of another sign than the one before and of bits of the same sign. pdScore:
 * optional. OPT_EYE_WIDTH seconds, OPT_EYE_HEIGHT volts, OPT_EYE_AREA their product; OPT_EYE_RATIO
 * the best of height times the ratio of the two kinds' openings; 0.0 for anything else. More is
 * better. After a failure all outputs are 0, except that they are untouched when a required pointer
 * is NULL. PARAM_OUT_OF_RANGE for a waveform without samples, a sample interval not above 0, fewer
 * than two crossovers or fewer than two edges of the DFE; DFE_SEARCH_FAILED as above. */
VOMO_API VomoStatus VomoFIND_DFE_TAP(const VomoWaveform *psWaveform, VomoDFEParams *psDFEParams,
                                     double *pdMinInterval, double *pdMaxInterval, float *pfEyeHigh,
                                     float *pfEyeLow, float *pfTransHigh, float *pfTransLow,
                                     float *pfNonTransHigh, float *pfNonTransLow,
                                     double *pdScore) VOMO_NOEXCEPT;

/* Takes the feedback of each unit interval off the samples that lie in it, over the whole waveform;
 * iUICount is not read here. A sample exactly on the bound of two intervals loses the levels of
 * both. Samples before the first edge and behind the last one stay. iFindTaps: not 0 first runs
 * VomoFIND_DFE_TAP on the waveform's beginning, iUICount intervals and 2 percent more, for what
 * that does to the taps; its status is lost. ppsCrossovers, phCrossovers: optional. Crossovers at 0
 * V of the waveform as it is given, with room for two-part elements that are not set; the caller
 * frees it. pdMinInterval: optional, their smallest spacing, seconds. psReserved: not read; NULL.
 * ppsClock, phClock: optional. The clock of those crossovers with the DFE's elements; the caller
 * frees it. ppsFiltered, phFiltered: optional. A new waveform with the same trimming, its hidden
 * samples 0; the caller frees it. When NULL, psWaveform is changed in place. PARAM_OUT_OF_RANGE and
 * DFE_SEARCH_FAILED as above; a waveform without an edge of the DFE is a success. */
VOMO_API VomoStatus VomoAPPLY_DFE_FILTER_TO_WAVEFORM(
    VomoWaveform *psWaveform, VomoDFEParams *psDFEParams, int32_t iFindTaps,
    VomoCrossoverData **ppsCrossovers, VomoHandle *phCrossovers, double *pdMinInterval,
    const VomoPatChkData *psReserved, VomoCrossoverData **ppsClock, VomoHandle *phClock,
    VomoWaveform **ppsFiltered, VomoHandle *phFiltered) VOMO_NOEXCEPT;

/* Equalises a waveform with that setting of a family whose eye is best on the waveform's beginning.
 *
 * iCTLEFilterParamsCount, psCTLEFilterParams: the family, see VomoAPPLY_CTLE_FILTER_TO_WAVEFORM.
 * With a count of 0 or below the result is a copy of the waveform, hidden samples and all.
 * psDFEFilterParams: optional. Each setting is then judged behind a DFE, by the score of
 *   VomoFIND_DFE_TAP: its taps change from trial to trial, and end as the winner's, or as the last
 *   trial's where no setting wins. A trial that cannot be measured scores 0.
 * dUnitInterval: nominal, seconds. ulFilterCount: samples that a crossing must stay beyond 0 V.
 * iCTLEUICount: unit intervals of the trials, to which 2 percent are added.
 * fCTLEBeginSampleWindow, fCTLEEndSampleWindow, eCTLEOpt: without a DFE. Sampling phases in
 * fractions of a unit interval: a 25th of the window apart, from the begin to a tenth beyond the
 * end, so a window much narrower than its end costs that many more phases. The levels are those at
 * the phase of least height; the score is OPT_EYE_WIDTH and so on of them. iAllowNoCTLE: not 0 lets
 * the unequalised signal compete. Only with a DFE can it win; without one, the first setting beats
 * it whatever its score. piBestCTLE: optional. The setting chosen, counted from 1; 0 for none. Of
 * equal scores the first. ppsFiltered, phFiltered: the waveform equalised as a whole; the caller
 * frees it. PARAM_OUT_OF_RANGE for a setting that VomoAPPLY_CTLE_FILTER_TO_WAVEFORM refuses, too
 * few samples in the trial, and, without a DFE, a trial with fewer than two crossovers. */
VOMO_API VomoStatus VomoAPPLY_MULTIPLE_CTLE_FILTERS_TO_WAVEFORM(
    VomoWaveform *psWaveform, int32_t iCTLEFilterParamsCount,
    const VomoCTLEParams *psCTLEFilterParams, VomoDFEParams *psDFEFilterParams,
    double dUnitInterval, uint32_t ulFilterCount, int32_t iCTLEUICount,
    float fCTLEBeginSampleWindow, float fCTLEEndSampleWindow, uint32_t eCTLEOpt,
    int32_t iAllowNoCTLE, int32_t *piBestCTLE, VomoWaveform **ppsFiltered,
    VomoHandle *phFiltered) VOMO_NOEXCEPT;

/* Sends a pair of single-ended waveforms through a measured four-port: they enter at ports 1 and 3,
 * and the result is the difference of what comes out at ports 2 and 4. Of the network's matrices
 * the entries [0][1], [0][3], [2][1] and [2][3] are used, [a][b] leading from port a + 1 to port b
 * + 1.
 *
 * The network's highest frequency becomes the Nyquist frequency. Where it is not the waveforms'
 * own, they are interpolated to it first, without more samples being stored: a higher rate cuts the
 * end off. Then the positive half is trimmed so that its ends meet and its length is odd, and the
 * negative one alike. The curves are stretched to the spectrum as points of equal spacing; at DC
 * they begin with phase 0 and the magnitude that a straight line through the first ten points has
 * there. The transform back is one sample longer than the one there: with n samples the result is
 * stretched in time by (n + 1) / n.
 *
 * psWaveformPos, psWaveformNeg: equal sample intervals. Their samples stay as they are, but they
 * come back trimmed as above, unless they were interpolated. psSparamData: 10 to 2000 points, the
 * highest frequency above 0. With dFLowPass above 0, both spectra go through
 * VomoGENERATE_FIRST_ORDER_FILTER for bins half as far apart as they are, so that the corner comes
 * to lie at twice that frequency. dPercentToTrim and iFlags apply to the result; that the text file
 * cannot be written goes unsaid. ppsOut, phOut: a new waveform; the caller frees it.
 * PARAM_OUT_OF_RANGE for a sample interval not above 0, unequal ones, no samples, a network out of
 * the ranges above, fewer than 3 samples after trimming, and a dPercentToTrim that takes more than
 * all; COMPUTATION_ERROR for frequencies through which no line can be laid, as when all are equal.
 */
VOMO_API VomoStatus VomoAPPLY_SPARAM_TO_WAVEFORM(VomoWaveform *psWaveformPos,
                                                 VomoWaveform *psWaveformNeg,
                                                 const VomoSparamData *psSparamData,
                                                 VomoWaveform **ppsOut,
                                                 VomoHandle *phOut) VOMO_NOEXCEPT;

/* ============================== Eye diagrams ================================================ */

/* How the voltage margins are taken. */
enum {
  Vomo_CENTER_MIN, /* smallest distance at the template's horizontal centre */
  Vomo_RANGE_MAX   /* trimmed levels where the eye is widest open */
};

/* A template polygon, or the points of a diagram. */
typedef struct VomoTemplate {
  /* Vertices or points in the arrays. */
  uint32_t ulArrayLength;
  /* Abscissae, unit intervals. A diagram is a chain of traces, each of rising abscissae. */
  double *adXArray;
  /* Volts. */
  float *afYArray;
  /* Clock index behind each point; may be NULL. */
  uint32_t *aulIntervalIdxArray;
  /* Where a margin was taken, UI and volts; -1.0 and 0.0 for none. */
  double dXMargin;
  float fYMargin;
} VomoTemplate;

/* Bounding box and edge slopes of a convex template polygon, vertices clockwise with volts upwards.
 * Up to 24 vertices; a hexagon or a diamond is usual. */
typedef struct VomoPassFailInfo {
  /* Volts. */
  float fEyeYMin, fEyeYMax;
  /* Unit intervals. */
  double dEyeXMin, dEyeXMax;
  /* Volts a unit interval: edge k goes from vertex k to the next one, the last edge closes. */
  double adSlopes[24];
} VomoPassFailInfo;

/* Margins between an eye and its template. Counts start from what stands here, so clear the record
 * before a run. */
typedef struct VomoTemplateMargins {
  /* Not 0: collect the two arrays, by bins of dMarginBinWidth UI. The drivers do not. */
  uint16_t usCollectMargins;
  double dMarginBinWidth;
  float afUpperMargin[100], afLowerMargin[100];
  /* Traces above 0 V that fail the template's top: at its centre (Vomo_CENTER_MIN), or with every
   * column below the top (Vomo_RANGE_MAX). */
  uint32_t ulHighMarginCount;
  /* Distance above the template's top, volts, negative when inside, and its clock index, which is
   * 0xFFFFFFFF for none. */
  float fHighMargin;
  uint32_t ulHighMarginInterval;
  /* The same below the template: positive when inside. */
  uint32_t ulLowMarginCount;
  float fLowMargin;
  uint32_t ulLowMarginInterval;
  /* Vomo_RANGE_MAX: abscissa of the measurement, UI, and the two levels there, volts. */
  double dMarginX;
  float fHighLevel, fLowLevel;
} VomoTemplateMargins;

/* Jitter histograms of an eye stage, equally long arrays in the stage's block. */
typedef struct VomoHistogramData {
  double *pdFirst, *pdSecond, *pdThird;
} VomoHistogramData;

/* Folds a stretch of a waveform over the unit intervals of its clock. Each interval adds one trace:
 * the samples from dEyePlotWrapLeftValue before it to dEyePlotWrapRightValue behind it, on an axis
 * that runs from the timing error of the interval's own edge to 1 plus that of the next edge.
 *
 * eDiagramType: 1 all intervals; 2 transition bits only; 3 non-transition bits only; any other
 * value draws nothing. In a non-transition bit the two samples half a UI to either side of the
 *   interval's first edge have the same sign; a product of 0 is a transition.
 * bWithIntervalIdx: not 0 fills aulIntervalIdxArray, which is NULL otherwise.
 * dUI: seconds, the width of the axis.
 * ulFirstInterval, ulLastInterval: clock indices. One below ulClockOffset counts as that.
 * psClock: edge times. pdIntervalError: seconds, element k for clock index ulClockOffset + k; it
 *   holds one element more than the intervals drawn.
 * dEyePlotWrapLeftValue, dEyePlotWrapRightValue: UI, at most 1.0; 0.0 draws the interval alone.
 * psDiagram: the points, trace by trace, with margins of -1.0 and 0.0. pHandle: the block of its
 *   arrays; the caller frees it.
 *
 * The diagram holds at most as many points as the intervals have samples, so with wraps of 0.0 the
 * last traces are cut. An interval without a next edge, and one that the timing errors leave with
 * no positive width, draws nothing.
 *
 * PARAM_OUT_OF_RANGE for a NULL, an empty waveform, a sample interval or dUI not above 0, a wrap
 * above 1.0, ulLastInterval not above ulFirstInterval, and ulLastInterval or ulClockOffset not
 * below the clock's count; MEMORY_ALLOCATION_FAILED also for wraps that leave no point. */
VOMO_API VomoStatus Vomo_SINGLE_DIAGRAM(uint32_t eDiagramType, uint32_t bWithIntervalIdx,
                                        double dUI, const VomoWaveform *psWaveform,
                                        uint32_t ulFirstInterval, uint32_t ulLastInterval,
                                        const VomoCrossoverData *psClock, uint32_t ulClockOffset,
                                        const double *pdIntervalError, double dEyePlotWrapLeftValue,
                                        double dEyePlotWrapRightValue, VomoTemplate *psDiagram,
                                        VomoHandle *pHandle) VOMO_NOEXCEPT;

/* Makes bounding box and edge slopes of a polygon. Without vertices the box is zeros and the slopes
 * stay; of more than 24 edges the first 24 get a slope. A vertical edge has an infinite slope.
 * Always success; does nothing for a NULL. */
VOMO_API VomoStatus Vomo_INIT_TEMPLATE_INFO_HELP(const VomoTemplate *psTemplate,
                                                 VomoPassFailInfo *psInfo) VOMO_NOEXCEPT;

/* Tests the points of a diagram against two rails and a template polygon.
 *
 * psTemplate: UI and volts, convex, clockwise. A point on its outline passes. The test is exact for
 *   shapes with one slanted edge in each corner of their box, such as hexagon and diamond; where a
 *   corner is rounded by several, points outside them may count as inside.
 * fHighRail, fLowRail: volts; a point on a rail passes. Only abscissae from 0.0 to 1.0 are tested.
 * eTestType: 0 rails and template; 1 rails only; 2 template only; any other value tests nothing.
 * psInfo: what Vomo_INIT_TEMPLATE_INFO_HELP made of psTemplate, or NULL to make it here.
 * pusPass: 1 when no point failed, else 0. pulViolations: failed tests; a point may fail several.
 * pbyPointStatus: optional, at least as many bytes as the diagram has points, cleared by the
 * caller. Byte n gets 2 or 3 when the n-th point from 0.0 to 1.0 lies above the high or below the
 * low rail, then 1 when the n-th point within the template's width lies inside the template. The
 * two counts are independent, and what is written last stands.
 *
 * PARAM_OUT_OF_RANGE for more than 24 vertices. */
VOMO_API VomoStatus Vomo_DIAGRAM_PASS_FAIL(const VomoTemplate *psDiagram,
                                           const VomoTemplate *psTemplate, float fHighRail,
                                           float fLowRail, uint32_t eTestType,
                                           const VomoPassFailInfo *psInfo, uint16_t *pusPass,
                                           uint32_t *pulViolations,
                                           uint8_t *pbyPointStatus) VOMO_NOEXCEPT;

/* Measures how far the eye stands from the bounds of its template, for transition and for
 * non-transition bits.
 *
 * psParams: reads dTargetUI, eVoltageMarginType, the three settings of the voltage histogram,
 *   sTransPassFailInfo and sNonTransPassFailInfo.
 * ulFirstInterval to pdIntervalError: as in Vomo_SINGLE_DIAGRAM.
 * psResults: sTransMargins and sNonTransMargins are written, also on a failure as far as the search
 *   got. pvPassThrough and the two behind it: not read.
 *
 * Vomo_CENTER_MIN: the smallest distance of the traces of each class from the template's top and
 *   bottom, at its horizontal centre. A trace at 0 V counts as high there.
 * Vomo_RANGE_MAX: columns of 0.004 UI across the template keep the innermost voltages of the
 *   traces, which are low ones when at or below 0 V in the middle column. The margins of a class
 *   come from its trimmed levels in the column where its own eye is widest open. dMarginX,
 *   fHighLevel and fLowLevel tell for both classes the column where the eye of all bits is widest
 *   open and its innermost voltages there; dMarginX is -1.0 when there was no trace at all. The
 *   counts of the non-transition eye also hold those of all bits.
 *
 * PARAM_NOT_VALID for another eVoltageMarginType; what Vomo_SINGLE_DIAGRAM refuses is refused with
 * its word; MEMORY_ALLOCATION_FAILED also for more points than one block could hold, about 134
 * million. */
VOMO_API VomoStatus VomoFIND_MARGINS(const VomoComplianceParams *psParams,
                                     const VomoWaveform *psWaveform, uint32_t ulFirstInterval,
                                     uint32_t ulLastInterval, const VomoCrossoverData *psClock,
                                     uint32_t ulClockOffset, const double *pdIntervalError,
                                     VomoComplianceResults *psResults, void *pvPassThrough,
                                     void *pvUnused1, void *pvUnused2) VOMO_NOEXCEPT;

/* Finds the extreme voltages of transition and non-transition bits and counts samples beyond the
 * rails, from the edge ulFirstInterval to one UI behind the edge ulLastInterval. A sample belongs
 * to a transition bit when the signal one UI before had the other sign.
 *
 * psParams: reads the four rails.
 * psResults: dUnitInterval is read; ulTransRailViolations to ulNonTransMaxIndex are cleared and
 *   written. A voltage is 0.0 when its sign and class don't occur. An index is 0 for not found and
 *   for a sample behind the last edge; a sample of interval 0 is told as of interval 1.
 * Always success; for arguments that can't be used the fields are only cleared. */
VOMO_API VomoStatus VomoFIND_VOLTAGES(const VomoWaveform *psWaveform,
                                      const VomoCrossoverData *psClock, uint32_t ulFirstInterval,
                                      uint32_t ulLastInterval, const VomoComplianceParams *psParams,
                                      VomoComplianceResults *psResults) VOMO_NOEXCEPT;

/* ============================== Compliance drivers ========================================== */

/* Interpolation, carried in the settings. The finder places every crossing on a straight line. */
enum { Vomo_INTERP_LINEAR, Vomo_INTERP_SINC, Vomo_INTERP_POLY, Vomo_INTERP_NONE };

/* The unit interval that interval errors are taken from. */
enum {
  Vomo_PHASE_ERROR_MEAN,         /* mean interval of the clock */
  Vomo_PHASE_ERROR_LEAST_SQUARES /* slope of a straight line through the clock edges */
};

/* Spectra of a run's jitter. The arrays belong to the library, see Vomo_GENERAL_COMPLIANCE. */
typedef struct VomoJitterSpectrumRecord {
  /* Bins of the first two arrays and their spacing, hertz. */
  uint32_t ulBinCount;
  double dBinSpacing;
  /* Magnitudes of the unscaled transform before and after the jitter filter, times ulBinCount. */
  double *pdRawMagnitude, *pdFilteredMagnitude;
  /* The same for the bit-to-bit differences of a Gen3 run, times ulDiffBinCount; otherwise 0, 0.0
   * and NULL. */
  uint32_t ulDiffBinCount;
  double dDiffBinSpacing;
  double *pdDiffMagnitude;
} VomoJitterSpectrumRecord;

/* Data-dependent jitter of a repeating pattern. */
typedef struct VomoPatternDDjResult {
  /* Peak to peak, seconds. */
  float fPeakPeak;
  /* Repeats that it was averaged over. */
  uint32_t ulRepeats;
} VomoPatternDDjResult;

/* Settings of the voltage measurements of a Gen3 run: windows of UIs inside a run of equal bits. */
typedef struct VomoGen3BaseCompParameters {
  /* Window in the runs of the electrical-idle exit pattern: first below last, last at most 8. */
  uint32_t ulEIEOSFirst, ulEIEOSLast;
  /* Short runs of the PS21 pattern: not 0, the first at most the second. */
  uint32_t ulPS21ShortRun, ulPS21ShortRunMax;
  /* Window in them: first below last, last at most ulPS21ShortRun. */
  uint32_t ulPS21ShortFirst, ulPS21ShortLast;
  /* Long run of that pattern, at least 32. */
  uint32_t ulPS21LongRun;
  /* Window in it: first below last, last at most ulPS21LongRun, an odd difference. */
  uint32_t ulPS21LongFirst, ulPS21LongLast;
  /* Target run: longest one, and the length, at least 2 and at most the longest. */
  uint32_t ulTargetRunMax, ulTargetRunLength;
  /* Window in it: first at least 2 and below last, last at most the run length. */
  uint32_t ulTargetFirst, ulTargetLast;
  /* Largest spread of the means, 0.0001 to 1.0. */
  double dTargetFraction;
} VomoGen3BaseCompParameters;

/* Results of a Gen3 run, a record of the caller. */
typedef struct VomoGen3Results {
  /* The repeating pattern: repeats, unit intervals and runs in one. A pattern of an odd number of
   * UI counts as half as many repeats of twice the length. */
  uint32_t ulPatternRepeats, ulPatternLengthUI, ulPatternRuns;
  /* Mean even less mean odd unit interval, seconds, signed. */
  float fFOver2Dj;
  /* High and low voltage of the electrical-idle exit pattern, volts, and how many were found. */
  float fEIEOSVoltage1, fEIEOSVoltage2;
  uint32_t ulEIEOSFound;
  /* Ratio of the PS21 pattern, decibels, and how many were found. */
  float fPS21Ratio;
  uint32_t ulPS21Found;
  /* Target runs: mean high and mean low voltage, number of high runs, number of low runs (255
   * stands for more). */
  float fTargetVoltage1, fTargetVoltage2, fTargetVoltage3;
  uint8_t ucTargetFound;
  /* The caller's, not NULL: receives the pattern's data-dependent jitter. */
  VomoPatternDDjResult *psPatternDDj;
  /* Dual-Dirac results of the bit-to-bit differences, seconds, Rj rms. */
  double dTj, dDj, dRj;
  /* Only during the run; NULL, NULL and 0 afterwards. */
  VomoCrossoverData *psClock;
  int16_t *psRunLengths;
  uint32_t ulRunLengthCount;
} VomoGen3Results;

/* All settings of a run. Travels by value, so no stage changes the caller's copy. What its pointers
 * name must live until the driver returns and is only read, except psPatChkData and
 * psDFEFilterParams. Fields called carried are printed by the parameter dump and used by nothing
 * else: the limits are for the caller to compare with the results. */
struct VomoComplianceParams {
  /* Nominal unit interval, seconds. */
  double dTargetUI;
  /* Seconds that a crossing must stay beyond the band; fewer than three samples count as three. */
  double dSettlingTime;
  /* Vomo_INTERP_LINEAR and so on; carried. */
  uint32_t eInterpMethod;
  /* Jitter filter, a high pass: BRICK_WALL to SEVENTH_ORDER. */
  uint32_t eFilterOrder;
  /* Its dFc and dZ. */
  VomoFilterParams sFilterParams;
  /* Carried; the settings may be NULL. */
  int32_t iSSCSquelch;
  const VomoSSCSquelchParams *psSSCSquelchParams;
  /* Noise floor of the jitter spectrum. */
  VomoNoiseFloorAlgParams sNoiseFloorAlgParams;
  /* What a BRICK_WALL filter lets through of the low frequencies. */
  double dBrickFloor;
  /* Carried; the drivers search without limits. */
  VomoCrossoverLimits sCrossoverLimits;
  /* Vomo_CROSSOVERS_ALL and so on; bit value 16 is dropped. */
  uint32_t eCrossoverTypes;
  /* Pattern check, optional. Its dEdgeDensity and ePatChkResult are written. */
  VomoPatChkData *psPatChkData;
  /* CTLE settings to choose from: not above 0 none, 1 that one, more the best of them. */
  int32_t iCTLEFilterParamsCount;
  const VomoCTLEParams *psCTLEFilterParams;
  /* Unit intervals that the choice is made on. */
  int32_t iCTLEUICount;
  /* OPT_EYE_WIDTH and so on. */
  uint32_t eCTLEOpt;
  /* Sampling phases tried, fractions of a UI. */
  float fCTLEBeginSampleWindow, fCTLEEndSampleWindow;
  /* Not 0: the unequalised signal takes part in the choice. */
  int32_t iAllowNoCTLE;
  /* Not 0, with several CTLE settings and a DFE: each setting is judged behind the DFE. */
  int32_t iCombineCTLE_DFE_Optimize;
  /* DFE, NULL for none. Its taps are written, and its iPtsAboveThresh replaces the settling count
   * in the preparation of the waveform. */
  VomoDFEParams *psDFEFilterParams;
  /* Fewest clock edges for a valid run. */
  uint32_t ulMinUIForOfficialTest;
  /* Vomo_PHASE_ERROR_LEAST_SQUARES, or anything else for the mean. */
  uint32_t ePhaseErrorIntervalType;
  /* Vomo_CENTER_MIN or Vomo_RANGE_MAX. */
  uint32_t eVoltageMarginType;
  /* Vomo_RANGE_MAX: bin width in volts, and how many hits a level's bin needs. A trim count of 1 or
   * more is that number; otherwise it is the factor times half the hits of that side, at least
   * 1. */
  float fVoltageHistBinSize;
  int32_t iVoltageHistTrimCount;
  double dVoltageHistTrimFactor;
  /* Rails of transition bits, volts. */
  float fTransitionHighVoltageRail, fTransitionLowVoltageRail;
  /* Template of the non-transition eye and its bounds; the margins are taken from the bounds. */
  VomoTemplate sNonTransTemplate;
  VomoPassFailInfo sNonTransPassFailInfo;
  /* Rails of non-transition bits, volts. The second name has no leading f. */
  float fNonTransitionHighVoltageRail, NonTransitionLowVoltageRail;
  /* Template of the transition eye and its bounds. */
  VomoTemplate sTransTemplate;
  VomoPassFailInfo sTransPassFailInfo;
  /* How far the plotted eyes reach beyond their UI, in UI. */
  double dEyePlotWrapLeftValue, dEyePlotWrapRightValue;
  /* Clock edges plotted on each side of an extreme. */
  uint32_t ulEyeDiagramOffset;
  /* Limits, seconds; carried. */
  double dPeakPeakJitterLimit, dTjPeakPeakJitterLimit, dDjDeltaDeltaJitterLimit,
      dRjRMSMaxJitterLimit;
  /* Share of the jitter sequence dropped at each end. A fraction and no percentage: 0.01 drops one
   * percent at each end. */
  double dPointsToTrimPercent;
  /* Bin width of the jitter histogram, seconds. */
  double dPDFBinSize;
  /* Q of the target bit error ratio, with a minus sign: -7.034484 for 1e-12. A positive value makes
   * Tj smaller than Dj. */
  double dTargetBERQVal;
  /* Rj to use, seconds rms; 0, negative and NaN measure it. */
  double dRjRMSInput;
  /* Hits that an outer histogram bin needs to be kept. */
  uint32_t ulRemoveBinsNumPoints;
  /* Most points of each tail that the fit uses. */
  uint32_t ulNumPointsToUseInCdfFit;
  /* Unit intervals in each bin of the jitter-against-time data. */
  uint32_t ulHistogramBinSizeUI;
  /* Not 0: one status byte for each sample, from the eye stage. */
  uint16_t usIndividualPointInfo;
  /* Not 0: histogram data from the eye stage. */
  uint16_t usGetJitterHistogramData;
  /* Carried. */
  uint16_t usDerateDeemphasisJitter;
  /* Set, together with psGen3Results: a Gen3 run, which measures pattern and voltages of a
   * transmitter instead of an eye and ignores complement, S-parameters, CTLE, DFE, templates and
   * rails. */
  const VomoGen3BaseCompParameters *psGen3BaseCompParameters;
  /* S-parameters to embed, NULL for none. */
  const VomoSparamData *psSparamData;
  /* File to which the settings are appended as text, NULL for none. */
  const char *pcParameterDumpFile;
};

/* All results of a run, a record of the caller: clear it, then set psGen3Results and the first byte
 * of sGen3CheckData, before the call. A field that a run does not reach keeps what it held. Jitter
 * indices count clock edges, 0 being the first. Times are seconds. */
struct VomoComplianceResults {
  /* Time of the first crossover. */
  double dFirstCrossoverTime;
  /* Largest less smallest time interval error, unfiltered, over the whole sequence. */
  double dTIEPeakPeak;
  /* The same filtered and within the trimmed range. Not set in a Gen3 run, like the indices
   * below. */
  double dPeakPeakJitter;
  /* Where its two extremes lie. */
  uint32_t ulMaxJitterIndex, ulMinJitterIndex;
  /* The trimmed range. */
  uint32_t ulFirstValidIndex, ulLastValidIndex;
  /* The whole sequence. */
  uint32_t ulFirstIndex, ulLastIndex;
  /* Total jitter at dTargetBERQVal. */
  double dTjPeakPeak;
  /* Dirac positions, the left one on a mirrored axis: Dj is their sum. */
  double dDualDiracLeft, dDualDiracRight;
  /* Deterministic jitter, delta-delta. */
  double dDjDeltaDelta;
  /* Smallest spacing of crossovers. */
  double dMinCrossoverInterval;
  /* Random jitter, rms: dRjRMSInput or measured. */
  double dRjRMS;
  /* Standard deviation of the jitter without its spectral lines. */
  double dRjStdDev;
  /* Measured unit interval. */
  double dUnitInterval;
  /* Values in the trimmed range. */
  uint32_t ulPointsUsed;
  /* Dual port: intervals of the data clock; 0 when the run is over. */
  uint32_t ulDataIntervalCount;
  /* Dual port: the PLL filter and the alignment in UI that gave the largest Tj. */
  int32_t iPLLFilterIndex, iClockDataOffsetUI;
  /* -1 no CTLE stage, 1 the only setting, otherwise the chosen one counted from 1, 0 for none. */
  int32_t iCTLEIndexUsed;
  /* 1 when a DFE was applied. */
  int32_t iDFEApplied;
  /* Copies from psPatChkData, if there is one. */
  double dEdgeDensity;
  uint32_t ePatChkResult;
  /* Samples of transition bits beyond their rails; their lowest and highest voltage, and the clock
   * index of each, 0 for not found. */
  uint32_t ulTransRailViolations;
  float fTransMinVoltage;
  uint32_t ulTransMinIndex;
  float fTransMaxVoltage;
  uint32_t ulTransMaxIndex;
  /* The same for non-transition bits. */
  uint32_t ulNonTransRailViolations;
  float fNonTransMinVoltage;
  uint32_t ulNonTransMinIndex;
  float fNonTransMaxVoltage;
  uint32_t ulNonTransMaxIndex;
  /* Margins of the two eyes. */
  VomoTemplateMargins sTransMargins, sNonTransMargins;
  /* Curves of the run. The arrays are the library's: valid until the next successful run, not to be
   * freed. A run that fails leaves them as they are. */
  VomoJitterPdfRecord sJitterPdf;
  VomoJitterQRecord sJitterQ;
  VomoJitterSpectrumRecord sJitterSpectrum;
  /* ucEnable 1 asks for Vomo_Gen3Check on the crossovers; what it delivers is the caller's. */
  VomoGen3CheckData sGen3CheckData;
  /* The caller's record of a Gen3 run, NULL in any other run. */
  VomoGen3Results *psGen3Results;
};

/* Settings of a run that measures data against a second, clock waveform. */
typedef struct VomoDualPortParams {
  /* Nominal period of the clock and its settling time, seconds. */
  double dClockTargetUI, dClockSettlingTime;
  /* Not 0: filter the clock waveform first. */
  int32_t iClockFilterEnable;
  /* Not 0: the clock's crossovers are the clock as they are, and no PLL filter is applied. */
  int32_t iUseClockCrossovers;
  /* Vomo_CROSSOVERS_ALL and so on, for the clock waveform. */
  uint32_t eClockCrossoverTypes;
  /* Skew between clock and data that is tried in both directions, UI. */
  uint32_t ulClockDataOffsetUI;
  /* PLL filters to try, at least one; dFc and dZ of each are used. */
  int32_t iPLLFilterCount;
  const VomoFilterParams *psPLLFilterParams;
} VomoDualPortParams;

/* The clock side of such a run. */
typedef struct VomoDualPortClockResults {
  /* Smallest spacing of the clock's crossovers, seconds. */
  double dMinCrossoverInterval;
  /* Intervals of the clock. */
  uint32_t ulIntervalCount;
  /* Their mean, seconds. */
  double dUnitInterval;
} VomoDualPortClockResults;

/* One trial of such a run: the clock behind one filter against the data at one alignment. */
typedef struct VomoDualPortTrial {
  /* Filter of the list; by how many UI the data was ahead, negative where the clock was. */
  int32_t iPLLFilterIndex, iClockDataOffsetUI;
  /* Jitter, seconds. */
  double dTjPeakPeak, dDjDeltaDelta, dRjRMS;
} VomoDualPortTrial;

/* Measures one captured signal: prepares it, finds its edges, makes the clock, turns that into a
 * sequence of time interval errors (one for each clock edge), separates Rj, Dj and Tj, and measures
 * the eye, or in a Gen3 run pattern and voltages. It judges nothing: limits are the caller's to
 * apply.
 *
 * psWaveform: the differential signal, or with psComplement the positive half of a pair.
 * psComplement: the negative half, or NULL.
 * sParameters: the settings. psResults: filled as far as the run gets, on a failure too.
 * pvPassThrough: optional, handed to the eye stage and read by nothing.
 * ppbyPointStatus: optional. With usIndividualPointInfo, one byte for each sample, all 0: for the
 *   caller to write.
 * psPlots: optional, five records for the eyes around: extreme jitter, highest voltages, lowest
 *   voltages, smallest upper margins, smallest lower margins, each ulEyeDiagramOffset clock edges
 *   wide on either side. dXMargin and fYMargin tell where a margin was taken, -1.0 and 0.0 in the
 *   first three; the index arrays are not written. NULL: no diagrams are made.
 * psTransPlots: optional, five records for the transition bits; when NULL their points follow the
 *   others in psPlots.
 *   A diagram that cannot be made leaves its record as it was, or its points out of a record that
 *   has others, in silence; only the failure of the last one, the non-transition bits around their
 *   smallest lower margin, ends the run. ulEyeDiagramOffset 0 makes windows of one interval, which
 *   cannot be drawn.
 * psHistogramData: optional. With usGetJitterHistogramData, three arrays of zeros, each with two
 *   elements for every ulHistogramBinSizeUI unit intervals.
 * pHandle: handle of the one block behind the four outputs before it, 0 when there is none; the
 *   caller frees it. When NULL, those outputs are not made. A Gen3 run does not write it.
 * ppdJitter, pulJitterCount, phJitter: optional as a whole, chosen by ppdJitter. The filtered
 *   jitter sequence, seconds, without its edges' virtual entries in a Gen3 run; the caller frees
 *   it.
 *
 * The curves inside psResults belong to the library: the next successful run replaces them.
 *
 * Returns the status of the last stage, so a warning of an earlier one is lost. PARAM_NOT_VALID
 * when only one of psGen3BaseCompParameters and psGen3Results is set, in a Gen3 run without
 * psPatternDDj, for a trim that leaves nothing, or for an unknown eVoltageMarginType;
 * PARAM_OUT_OF_RANGE for a waveform with fewer than two crossovers and for histogram bins of no
 * width; NOT_ENOUGH_UI for a clock of fewer than ulMinUIForOfficialTest edges; HANDLES_EXHAUSTED
 * when the block of the eye's outputs cannot be had; COMPUTATION_ERROR with a reason in a Gen3 run
 * whose pattern does not repeat or never has two single bits in a row; otherwise the error word of
 * the stage that failed. A Gen3 run ends with the status of its target runs: none of that length is
 * no failure, and the other two patterns' voltages never are one. */
VOMO_API VomoStatus Vomo_GENERAL_COMPLIANCE(VomoWaveform *psWaveform, VomoWaveform *psComplement,
                                            VomoComplianceParams sParameters,
                                            VomoComplianceResults *psResults, void *pvPassThrough,
                                            uint8_t **ppbyPointStatus, VomoTemplate *psPlots,
                                            VomoTemplate *psTransPlots,
                                            VomoHistogramData *psHistogramData, VomoHandle *pHandle,
                                            uint32_t *pulJitterCount, double **ppdJitter,
                                            VomoHandle *phJitter) VOMO_NOEXCEPT;

/* Vomo_GENERAL_COMPLIANCE without plots, histogram data and jitter sequence: it leaves no block to
 * free. Voltages and margins are measured all the same. */
VOMO_API VomoStatus Vomo_GENERAL_COMPLIANCE_NO_EYE(VomoWaveform *psWaveform,
                                                   VomoWaveform *psComplement,
                                                   VomoComplianceParams sParameters,
                                                   VomoComplianceResults *psResults,
                                                   void *pvPassThrough) VOMO_NOEXCEPT;

/* Separates the jitter of a sequence of time interval errors. Its spectrum goes through the high
 * pass of eFilterOrder and sFilterParams; lines above the noise floor are cut to it. The filtered
 * sequence gives the peak-to-peak jitter and, by the dual-Dirac fit, Dj and Tj; the one without
 * lines gives Rj as its rms.
 *
 * pdSequence, ulCount: seconds, one value for each unit interval, at least 2; not changed.
 * sParameters: reads eFilterOrder, sFilterParams, dBrickFloor, sNoiseFloorAlgParams,
 *   dPointsToTrimPercent, dRjRMSInput, psGen3BaseCompParameters and what VomoFIT_DUAL_DIRAC reads.
 * psResults: dUnitInterval is read as the spacing of the sequence, psGen3Results for a Gen3 run;
 *   written are the fields from dTIEPeakPeak to ulPointsUsed that belong to jitter.
 * ppdSequence, pulCount, phSequence: optional as a whole, chosen by ppdSequence. The filtered
 *   sequence; the caller frees it. It is also delivered when the fit fails and its status returned.
 *
 * Returns the status of the fit. With ppdSequence NULL that status is lost and success returned,
 * even for a fit that failed. PARAM_OUT_OF_RANGE for fewer than 2 values; PARAM_NOT_VALID for a
 * trim that leaves nothing, a unit interval not above 0, and a Gen3 run without its clock. */
VOMO_API VomoStatus Vomo_GENERAL_COMPLIANCE_NO_EYE_INTERVALS(
    const double *pdSequence, uint32_t ulCount, VomoComplianceParams sParameters,
    VomoComplianceResults *psResults, uint32_t *pulCount, double **ppdSequence,
    VomoHandle *phSequence) VOMO_NOEXCEPT;

/* Splits a differential waveform into two single-ended halves, plus and minus half of it. All
 * stored samples are split, and both halves are trimmed as the waveform is. psDifferential: not
 * changed. ppsPositive, phPositive, ppsNegative, phNegative: in and out. A record and handle of an
 * earlier call are used again if they have room for all stored samples, and keep only so much of
 * it; otherwise they are freed and replaced. NULL and 0 for none. The caller frees both. A record
 * that is used again takes the waveform from its first visible sample on, so a trimmed one is
 * shifted to the front by what it hides there. COMPUTATION_ERROR for a waveform that stores no
 * samples. On a failure a held record may have changed its content and shows all of its samples. */
VOMO_API VomoStatus VomoCONVERT_WFM_TO_SINGLE_ENDED(const VomoWaveform *psDifferential,
                                                    VomoWaveform **ppsPositive,
                                                    VomoHandle *phPositive,
                                                    VomoWaveform **ppsNegative,
                                                    VomoHandle *phNegative) VOMO_NOEXCEPT;

/* The same in place: psWaveform itself becomes the positive half. ppsNegative and phNegative are in
 * and out as above. */
VOMO_API VomoStatus VomoCONVERT_WFM_TO_SINGLE_ENDED_I(VomoWaveform *psWaveform,
                                                      VomoWaveform **ppsNegative,
                                                      VomoHandle *phNegative) VOMO_NOEXCEPT;

/* Positive less negative half. The first visible samples belong together, whatever the two hide,
 * and the shorter one ends the result. ppsDifferential, phDifferential: a new waveform without
 * hidden samples; the caller frees it. PARAM_NOT_VALID for a half without samples;
 * PARAM_OUT_OF_RANGE for a sample interval not above 0 and for unequal ones. */
VOMO_API VomoStatus Vomo_CONVERT_SINGLE_TO_DIFF(const VomoWaveform *psPositive,
                                                const VomoWaveform *psNegative,
                                                VomoWaveform **ppsDifferential,
                                                VomoHandle *phDifferential) VOMO_NOEXCEPT;

/* Measures data against a second waveform, the clock: the clock's jitter behind each PLL filter of
 * a list is taken off the data's intervals, at three alignments; the worst case by dTjPeakPeak is
 * the result. psWaveform: the data, differential or, with psComplement, its positive half. Its trim
 * is advanced where the clock's capture starts later or ends earlier, and stays so.
 * psClockWaveform: the clock. Its range is narrowed during the call and put back, except when the
 *   search for its edges fails within it; with iClockFilterEnable its samples are filtered in
 * place. psComplement: negative half of the data; may be NULL. sParameters: as for
 * Vomo_GENERAL_COMPLIANCE; ePhaseErrorIntervalType and the Gen3 fields have no effect. The data's
 * unit interval is dTargetUI corrected by what the clock's mean interval is of dClockTargetUI.
 * sDualPort: the clock's settings and iPLLFilterCount filters.
 * psResults: the worst trial's numbers, with iPLLFilterIndex and iClockDataOffsetUI (positive: data
 *   ahead); ulDataIntervalCount and psGen3Results end as 0. The curves belong to the trial that was
 *   published last, which beat the others of its own filter.
 * psClockResults: the clock's smallest crossover spacing, intervals and unit interval.
 * The nine arguments from pvPassThrough on: as for Vomo_GENERAL_COMPLIANCE.
 * Returns the eye stage's status on success. Errors: Vomo_STATUS_PARAM_NOT_VALID (NULL pointer, no
 * filter array, nothing left between the trimmed ends), Vomo_STATUS_PARAM_OUT_OF_RANGE (no filter,
 * captures that do not overlap, a clock without intervals), Vomo_STATUS_NOT_ENOUGH_UI, and what the
 * stages return. Curves can have been published although the run failed later. */
VOMO_API VomoStatus Vomo_DUAL_PORT_COMPLIANCE(
    VomoWaveform *psWaveform, VomoWaveform *psClockWaveform, VomoWaveform *psComplement,
    VomoComplianceParams sParameters, VomoDualPortParams sDualPort,
    VomoComplianceResults *psResults, VomoDualPortClockResults *psClockResults, void *pvPassThrough,
    uint8_t **ppbyPointStatus, VomoTemplate *psPlots, VomoTemplate *psTransPlots,
    VomoHistogramData *psHistogramData, VomoHandle *pHandle, uint32_t *pulJitterCount,
    double **ppdJitter, VomoHandle *phJitter) VOMO_NOEXCEPT;

/* Vomo_DUAL_PORT_COMPLIANCE without the outputs of its eye stage and without the jitter sequence.
 */
VOMO_API VomoStatus Vomo_DUAL_PORT_COMPLIANCE_NO_EYE(
    VomoWaveform *psWaveform, VomoWaveform *psClockWaveform, VomoWaveform *psComplement,
    VomoComplianceParams sParameters, VomoDualPortParams sDualPort,
    VomoComplianceResults *psResults, VomoDualPortClockResults *psClockResults,
    void *pvPassThrough) VOMO_NOEXCEPT;

/* Vomo_DUAL_PORT_COMPLIANCE_NO_EYE that also tells what each trial came to. psTrials: room for
 * ulTrialCapacity trials; three for each filter are made, filter by filter, in the order data
 * ahead, aligned, clock ahead, and what finds no room is not told. pulTrialCount: how many were
 * written, on a failure those made before it. PARAM_NOT_VALID for NULL as either, before anything
 * is done. */
VOMO_API VomoStatus Vomo_DUAL_PORT_COMPLIANCE_TRIALS(
    VomoWaveform *psWaveform, VomoWaveform *psClockWaveform, VomoWaveform *psComplement,
    VomoComplianceParams sParameters, VomoDualPortParams sDualPort,
    VomoComplianceResults *psResults, VomoDualPortClockResults *psClockResults,
    VomoDualPortTrial *psTrials, uint32_t ulTrialCapacity, uint32_t *pulTrialCount) VOMO_NOEXCEPT;

/* ============================== Transmitter measurements ==================================== */

/* One equalisation preset of a transmitter. */
typedef struct VomoPreset {
  /* Measured voltage; 0.0: not measured. */
  double dVb;
  /* Results in decibels: reference over this one, and this one over its reference. */
  double dPreshootDB, dDeemphasisDB;
  /* 0 failed, 1 passed, 2 not evaluated, 3 a reference preset is missing. */
  uint32_t ulState;
  /* Outcome of Vomo_Gen3Check on its capture, and the handle of what that delivered. */
  VomoGen3CheckData sGen3CheckBuf;
  VomoHandle ulClockHandle;
  /* Limits, decibels. */
  double dPreshootMax, dPreshootMin, dDeemphasisMax, dDeemphasisMin;
  /* Indices of the reference presets; 0xFFFFFFFF for none. */
  uint32_t ulDeemphasisRef, ulPreshootRef;
} VomoPreset;

/* Mean voltage inside the long runs of equal bits of a pattern, for high and for low runs.
 *
 * A run is a pair of neighbouring crossovers whose distance d lies in
 *   [(usRunMin * fUIRatio - fUITolerance) * dUI, ((2 - fUIRatio) * longest + fUITolerance) * dUI]
 * where longest is the larger of usRunMin and usRunMax. Averaged are its samples from
 * (usWindowFirst - 1) / usRunMin to usWindowLast / usRunMin of d behind its first crossover, both
 * included: the window stretches with the run's real duration. The first of these samples alone
 * says the polarity: above 0 V is a high run. A run whose window begins before sample 0 is left
 * out.
 *
 * pfSamples: volts; there must be samples up to the last crossover used.
 * dStartTime: time of sample 0 on the scale of pdCrossTimes, seconds.
 * dSampleInterval: seconds, 1e-15 to 0.32 * dUI.
 * pdCrossTimes, ulFirst, ulLast: crossover times, seconds, and the first and last one used.
 * dUI: unit interval, seconds; below 2e-11 it becomes 1.25e-10, after the sample interval's test.
 * fUIRatio: 0.7 to 1.0, else 0.99. fUITolerance: at least 0.001, else 0.02.
 * usRunMin, usRunMax: UI; 0 and 1 become 64.
 * usWindowFirst, usWindowLast: UIs of the window counted from 1; they are not checked.
 * dMaxMeanSpread: 0.0001 to 1.0, else 0.02. NaN is out of each of these ranges.
 * pulPass: optional, written only when both polarities have samples: 1 if the 1.95 sigma interval
 *   of the low mean is narrower than dMaxMeanSpread times the swing, else 0. How far the high level
 *   scatters plays no part.
 * pfAverages: two floats, low then high; 0.0 without samples of that polarity.
 * pulRunCounts: optional, low then high runs.
 * Returns 0, also when no run was found, or 1 with nothing written for NULL or a sample interval
 * out of range. */
VOMO_API int32_t FindTargetRunLen_Then_AverageAmplitudes_wPassFail(
    const float *pfSamples, double dStartTime, double dSampleInterval, const double *pdCrossTimes,
    uint32_t ulFirst, uint32_t ulLast, double dUI, float fUIRatio, float fUITolerance,
    uint16_t usRunMin, uint16_t usRunMax, uint16_t usWindowFirst, uint16_t usWindowLast,
    double dMaxMeanSpread, uint32_t *pulPass, float *pfAverages,
    uint32_t *pulRunCounts) VOMO_NOEXCEPT;

/* The same for runs of a single length and without a verdict. */
VOMO_API int32_t FindTargetRunLen_Then_AverageAmplitudes(
    const float *pfSamples, double dStartTime, double dSampleInterval, const double *pdCrossTimes,
    uint32_t ulFirst, uint32_t ulLast, double dUI, float fUIRatio, float fUITolerance,
    uint16_t usRunMin, uint16_t usWindowFirst, uint16_t usWindowLast, float *pfAverages,
    uint32_t *pulRunCounts) VOMO_NOEXCEPT;

/* FindTargetRunLen_Then_AverageAmplitudes_wPassFail on a waveform and its crossovers ulFirst to
 * ulLast, with an fUIRatio of 0.99 and an fUITolerance of 0.02. A run whose window begins outside
 * the waveform is left out, one that ends outside is cut.
 *
 * dUI: seconds, at least 2e-11; the sample interval lies from 1e-15 to 0.32 * dUI.
 * iRunMin, ulRunMax: shortest and longest run, UI, the first at most the second, 65535 at most.
 * ulWindowFirst, ulWindowLast: window in a run, UI counted from 1: the first at least 2 and below
 *   the last, the last at most iRunMin.
 * dMaxMeanSpread: 0.0001 to 1.0.
 * pfHighAverage, pfLowAverage: volts. pulHighRuns, pulLowRuns: runs averaged.
 * PARAM_NOT_VALID for anything outside these ranges, for ulFirst not below ulLast and for ulLast
 * outside the list; PATTERN_NOT_FOUND without any run; NOT_ENOUGH_UI, with the outputs written, for
 * runs of only one polarity and for a low mean that is not known well enough. */
VOMO_API VomoStatus VomoCOMPUTE_TARGET_RUNLENGTH_AVERAGE_VOLTAGE(
    const VomoWaveform *psWaveform, const VomoCrossoverData *psClock, uint32_t ulFirst,
    uint32_t ulLast, double dUI, int32_t iRunMin, uint32_t ulRunMax, uint32_t ulWindowFirst,
    uint32_t ulWindowLast, double dMaxMeanSpread, float *pfHighAverage, float *pfLowAverage,
    uint32_t *pulHighRuns, uint32_t *pulLowRuns) VOMO_NOEXCEPT;

/* Mean voltage inside the runs of the electrical-idle exit pattern: sixteen runs of eight UI.
 *
 * A stretch is found where 16 spans take together at least (128 * fUIRatio - fUITolerance) * dUI
 * and each but the last at least (8 * fUIRatio - fUITolerance) * dUI; nothing limits them upwards.
 * The search ends before ulLast, so a stretch that ends there is not found. Averaged are in each
 * run the samples from (usWindowFirst - 1) / 8 to usWindowLast / 8 of the run, both included; the
 * first of them says the run's polarity: above 0 V is high. A run whose window begins before sample
 * 0 is left out of a stretch that counts.
 *
 * pfSamples to fUITolerance: as for FindTargetRunLen_Then_AverageAmplitudes_wPassFail, but a dUI
 *   below 2e-11 is refused.
 * usWindowFirst: 2 to 8, else 3. usWindowLast: below usWindowFirst it becomes that, else above 8 it
 *   becomes 7.
 * pfAverages: two floats, low then high; 0.0 without samples of that polarity.
 * pulFound: optional, number of stretches.
 * Returns 0, also when nothing was found, or 1 with nothing written for bad arguments. */
VOMO_API int32_t Meas_VTxDiffPkPk_EIEOS(const float *pfSamples, double dStartTime,
                                        double dSampleInterval, const double *pdCrossTimes,
                                        uint32_t ulFirst, uint32_t ulLast, double dUI,
                                        float fUIRatio, float fUITolerance, uint16_t usWindowFirst,
                                        uint16_t usWindowLast, float *pfAverages,
                                        uint32_t *pulFound) VOMO_NOEXCEPT;

/* Meas_VTxDiffPkPk_EIEOS on a waveform and its crossovers ulFirst to ulLast, with an fUIRatio of
 * 0.99 and an fUITolerance of 0.09. A run whose window begins outside the waveform is left out, one
 * that ends outside is cut.
 *
 * pvPassThrough: not NULL, otherwise not used.
 * dUI: seconds, at least 2e-11; the sample interval lies from 1e-15 to 0.32 * dUI.
 * ulWindowFirst, ulWindowLast: window in a run, UI counted from 1: the first below the last, the
 *   last at most 8. A first of 0 or 1 acts as 3.
 * pfHighAverage, pfLowAverage: volts. pulFound: stretches found.
 * PARAM_NOT_VALID for anything outside these ranges, for ulFirst not below ulLast and for ulLast
 * outside the list; PATTERN_NOT_FOUND, with the outputs written as 0, without a stretch. */
VOMO_API VomoStatus VomoCOMPUTE_EIEOS_AVERAGE_VOLTAGE(const VomoWaveform *psWaveform,
                                                      const VomoCrossoverData *psClock,
                                                      uint32_t ulFirst, uint32_t ulLast,
                                                      const void *pvPassThrough, double dUI,
                                                      uint32_t ulWindowFirst, uint32_t ulWindowLast,
                                                      float *pfHighAverage, float *pfLowAverage,
                                                      uint32_t *pulFound) VOMO_NOEXCEPT;

/* Ratio of the swing of toggling bits to the swing of long flat runs: what a transmitter's
 * equalisation and package leave of single bits. The pattern is two flat runs of opposite polarity
 * in a row, with a stretch of single bits right behind or right before them.
 *
 * A flat run takes from (usPS21ShortRun * fUIRatio - fUITolerance) to
 * (usPS21ShortRunMax * (2 - fUIRatio) + fUITolerance) UI of dUI, a toggling bit at most
 * 2 * fUITolerance + 2 - fUIRatio, all of them together (usPS21LongRun + 1) * (2 - fUIRatio); the
 * last of them may be longer. Flat runs are averaged over a window that ends
 * usPS21ShortRun - usPS21ShortLast nominal UI before the run's end and is as long as so many
 * measured toggling bits as it has UI. Of a toggling bit counts the peak between its crossovers,
 * the sample in front of them included. The ratio of a pattern is mean high less mean low peak over
 * mean high less mean low flat voltage; a pattern where either is not above 0 doesn't count. One
 * that reaches outside the samples is passed over.
 *
 * pfSamples to fUITolerance: as for Meas_VTxDiffPkPk_EIEOS.
 * eSearchMode: where the toggling is looked for. 0 (and any number above 3): behind, then before.
 *   1: before, then behind. 2: only behind. 3: only before; after a pair without toggling the
 *   search goes on usPS21LongRun + 3 crossovers later.
 * usPS21ShortRun, usPS21ShortRunMax: shortest and longest flat run, UI; below 16 they become 32.
 * usPS21LongRun: toggling bits; below 32 it becomes 32.
 * usPS21ShortFirst, usPS21ShortLast: window in a flat run, UI counted from 1. If either is 0 they
 *   become usPS21ShortRun - 7 and usPS21ShortRun - 2.
 * usPS21LongFirst, usPS21LongLast: window in the toggling bits, in the same way. Their difference
 * is odd, so that as many high as low bits are measured. pfRatio: optional, mean ratio.
 * psStatistics: optional, 20 floats, volts: four groups of least single value, least mean of a
 *   pattern, mean of these means, greatest mean of a pattern, greatest single value. Groups:
 *   negative toggling peaks, negative flat samples, positive toggling peaks, positive flat samples.
 *   They cover also patterns that don't count. Least values start at 999.9, greatest at -999.9.
 * pulFound: optional, patterns that count.
 * Without one all outputs are 0. Returns 0, also then, or 1: for NULL, dUI or dSampleInterval out
 * of range with nothing written, for a window whose first is above its last or whose last is above
 * its run and for an even toggling window with the outputs 0. */
VOMO_API int32_t Meas_VTxDiff_PS21_wMinMax(const float *pfSamples, double dStartTime,
                                           double dSampleInterval, const double *pdCrossTimes,
                                           uint32_t ulFirst, uint32_t ulLast, double dUI,
                                           float fUIRatio, float fUITolerance, uint16_t eSearchMode,
                                           uint16_t usPS21ShortRun, uint16_t usPS21ShortRunMax,
                                           uint16_t usPS21LongRun, uint16_t usPS21ShortFirst,
                                           uint16_t usPS21ShortLast, uint16_t usPS21LongFirst,
                                           uint16_t usPS21LongLast, float *pfRatio,
                                           float *psStatistics, uint32_t *pulFound) VOMO_NOEXCEPT;

/* The same for flat runs of a single length and without statistics. */
VOMO_API int32_t Meas_VTxDiff_PS21(const float *pfSamples, double dStartTime,
                                   double dSampleInterval, const double *pdCrossTimes,
                                   uint32_t ulFirst, uint32_t ulLast, double dUI, float fUIRatio,
                                   float fUITolerance, uint16_t eSearchMode,
                                   uint16_t usPS21ShortRun, uint16_t usPS21LongRun,
                                   uint16_t usPS21ShortFirst, uint16_t usPS21ShortLast,
                                   uint16_t usPS21LongFirst, uint16_t usPS21LongLast,
                                   float *pfRatio, uint32_t *pulFound) VOMO_NOEXCEPT;

/* Meas_VTxDiff_PS21_wMinMax in mode 0 on a waveform and its crossovers ulFirst to ulLast, with an
 * fUIRatio of 0.99 and an fUITolerance of 0.09.
 *
 * pvPassThrough: not NULL, otherwise not used.
 * dUI: seconds, at least 2e-11; the sample interval lies from 1e-15 to 0.32 * dUI.
 * ulPS21ShortRun, ulPS21ShortRunMax: UI, not 0, the first at most the second, 65535 at most; below
 *   16 they act as 32.
 * ulPS21LongRun: 32 to 65535 bits.
 * ulPS21ShortFirst, ulPS21ShortLast: first below last, last at most ulPS21ShortRun.
 * ulPS21LongFirst, ulPS21LongLast: first below last by an odd number, last at most ulPS21LongRun.
 * pfRatioDB: 20 log10 of the mean ratio. pulFound: patterns that count.
 * PARAM_NOT_VALID for anything outside these ranges, for ulFirst not below ulLast and for ulLast
 * outside the list; PATTERN_NOT_FOUND, with pulFound written as 0, without a pattern. */
VOMO_API VomoStatus VomoCOMPUTE_PS21_AVERAGE_VOLTAGE(
    const VomoWaveform *psWaveform, const VomoCrossoverData *psClock, uint32_t ulFirst,
    uint32_t ulLast, const void *pvPassThrough, double dUI, uint32_t ulPS21ShortRun,
    uint32_t ulPS21ShortRunMax, uint32_t ulPS21LongRun, uint32_t ulPS21ShortFirst,
    uint32_t ulPS21ShortLast, uint32_t ulPS21LongFirst, uint32_t ulPS21LongLast, float *pfRatioDB,
    uint32_t *pulFound) VOMO_NOEXCEPT;

/* F/2 jitter, the difference between even and odd unit intervals of a transmitter that serialises
 * by two phases: mean even less mean odd spacing, seconds, signed.
 *
 * pdTimes: edge times, used from element ulOffset on, ulCount of them (at least 2).
 * pusRunLengths: optional; UIs behind each edge, also used from ulOffset. A spacing counts when it
 *   and the one before it are single bits; even and odd are told by the number of bits passed.
 * usRunLength: without run lengths it must be 1 and says that every spacing is one bit; the first
 *   spacing is not used and the second is odd.
 * pfDj: the difference, 0.0 when nothing could be measured. pfEvenMean, pfOddMean, pfMean:
 *   optional.
 * With run lengths and an ulCount of 2 a third time is read and must be there.
 * Returns 0, or 1 for bad arguments and when one of the two classes is empty. */
VOMO_API int32_t Meas_Tx_Dj_FOver2(const double *pdTimes, const uint16_t *pusRunLengths,
                                   uint32_t ulOffset, uint32_t ulCount, uint16_t usRunLength,
                                   float *pfDj, float *pfEvenMean, float *pfOddMean,
                                   float *pfMean) VOMO_NOEXCEPT;

/* Meas_Tx_Dj_FOver2 on the edges ulFirst to ulLast of a list, the last spacing left out.
 * pusRunLengths: one for each edge of the list.
 * PARAM_NOT_VALID when ulLast is outside the list or less than 2 above ulFirst; COMPUTATION_ERROR
 * when nothing could be measured, as with a pattern that has no two single bits in a row. */
VOMO_API VomoStatus VomoF_OVER2_Dj(const VomoCrossoverData *psClock, uint32_t ulFirst,
                                   uint32_t ulLast, const uint16_t *pusRunLengths,
                                   float *pfDj) VOMO_NOEXCEPT;

/* Takes F/2 jitter out of times with one entry for each UI, in place: even entries move by a
 * quarter of fDj forward, odd ones backward. fDj of 0.0 changes nothing; its negative puts the
 * jitter back.
 * Returns 0, or 1 for fewer than 2 times or NULL. */
VOMO_API int32_t Modify_Dj_FOver2_Inplace_AllUIFrontTimes(double *pdTimes, uint32_t ulCount,
                                                          float fDj) VOMO_NOEXCEPT;

/* The same for times of crossovers only: even and odd are told by the number of bits passed since
 * element ulOffset of both arrays, or by the element's number when pusRunLengths is NULL, which
 * asks for a usRunLength of 1.
 * Returns 0, or 1 for bad arguments. */
VOMO_API int32_t Modify_Dj_FOver2_Inplace_OnlyCrsOvrs(double *pdTimes,
                                                      const uint16_t *pusRunLengths,
                                                      uint32_t ulOffset, uint32_t ulCount,
                                                      uint16_t usRunLength,
                                                      float fDj) VOMO_NOEXCEPT;

/* Finds the repeating pattern in the run lengths of crossovers. A repeat has an even number of runs
 * and no more than half of the list; the smallest such period wins. Every whole repeat must equal
 * the first one run for run; of an incomplete one at the end only the longest run is compared.
 *
 * pusRunLengths, ulCount: UIs from each crossover to the next, at least 3 values. Runs of one
 *   length throughout are a plain clock: two runs in a repeat.
 * pulRepeats, pulLengthUI, pulLengthRuns: whole repeats in the list, and unit intervals and runs in
 *   one. All are cleared first.
 * Returns 0, also with pulRepeats 0 when the longest runs alone rule out two repeats; 1 for bad
 * arguments, for a run of 0, and when nothing repeats. */
VOMO_API int32_t FindRepeatPatternLength(const uint16_t *pusRunLengths, uint32_t ulCount,
                                         uint32_t *pulRepeats, uint32_t *pulLengthUI,
                                         uint32_t *pulLengthRuns) VOMO_NOEXCEPT;

/* FindRepeatPatternLength into ulPatternRepeats, ulPatternLengthUI and ulPatternRuns of
 * psGen3Results. A pattern of an odd number of UI has half as many repeats of twice the length, so
 * that even and odd bits stay apart. COMPUTATION_ERROR with a reason when no pattern was found; the
 * three fields are then 0. */
VOMO_API VomoStatus VomoFIND_REPEAT_PATTERN_LENGTH(const uint16_t *pusRunLengths, uint32_t ulCount,
                                                   VomoGen3Results *psGen3Results) VOMO_NOEXCEPT;

/* Data-dependent jitter of a repeating pattern. The unit interval is the slope of a straight line
 * through all crossovers over their bit positions; the deviation of each spacing from its number of
 * unit intervals is averaged over the repeats, and the running sum of these means, with the sign
 * turned, is what to add to each crossover so that it lies on an even grid.
 *
 * pdTimes, pusRunLengths: crossover times, seconds, and UIs behind each, used from element ulOffset
 *   on, ulCount of them (at least 2). pusRunLengths may be NULL with usRunLength 1: every crossover
 *   is then followed by one bit. Otherwise all runs together must have 8 UI or more for each of
 *   ulPatternRuns.
 * ulPatternRuns: runs in a repeat: even, at least 2, at most ulCount. If it equals ulCount, a time
 *   behind the last one is read and must be there.
 * Optional outputs: pulRepeats: repeats averaged; of several that fill the list to its end the last
 *   one is left out, as nothing ends it. pfMinMean, pfMaxMean: extremes of the mean deviations,
 *   pdMeanSum: their sum. pfPeakPeak: the jitter, largest less smallest correction. Seconds.
 * pdCorrections: optional, in and out: ulPatternRuns zeros, to which the deviations are added.
 *   Receives for position i the correction of the crossover that ends it, seconds.
 * Returns 0, or 1 for bad arguments, when memory is short, and for crossovers that have no
 * extent. */
VOMO_API int32_t Meas_Tx_PattDDj_Unfiltered(const double *pdTimes, const uint16_t *pusRunLengths,
                                            uint32_t ulOffset, uint32_t ulCount,
                                            uint16_t usRunLength, uint32_t ulPatternRuns,
                                            uint32_t *pulRepeats, float *pfMinMean,
                                            float *pfMaxMean, double *pdMeanSum, float *pfPeakPeak,
                                            double *pdCorrections) VOMO_NOEXCEPT;

/* Adds the corrections of Meas_Tx_PattDDj_Unfiltered to the ulCount crossovers behind the one at
 * ulOffset, so ulCount + 1 times are needed. Crossovers behind the last whole repeat are corrected
 * as long as their run lengths are those of the list's beginning, or not at all without run
 * lengths. ulCount: at least 2. ulPatternRuns: even, 2 to ulCount.
 * Returns 0, or 1 for bad arguments. */
VOMO_API int32_t Modify_PattDDj_Inplace(double *pdTimes, const uint16_t *pusRunLengths,
                                        uint32_t ulOffset, uint32_t ulCount, uint32_t ulPatternRuns,
                                        const double *pdCorrections) VOMO_NOEXCEPT;

/* Measures pattern DDj between the crossovers ulFirst and ulLast and takes it out of their times,
 * in place; the times stay as they are where the mean run is below 1.5 UI, as in a clock.
 *
 * psClock: the crossovers. pusRunLengths: UIs from each of them to the next.
 * psGen3Results: ulPatternRuns is read (even, at least 2); through psPatternDDj the jitter is
 *   delivered, peak to peak, and the number of repeats that it was averaged over.
 * PARAM_NOT_VALID for a NULL, an ulLast outside the list or not above ulFirst, and a bad
 * ulPatternRuns; PARAM_OUT_OF_RANGE when ulLast - ulFirst is below 2 or below ulPatternRuns;
 * COMPUTATION_ERROR when Meas_Tx_PattDDj_Unfiltered refuses. */
VOMO_API VomoStatus VomoREMOVE_REPEAT_PATTERN_DDj(VomoCrossoverData *psClock, uint32_t ulFirst,
                                                  uint32_t ulLast, const uint16_t *pusRunLengths,
                                                  VomoGen3Results *psGen3Results) VOMO_NOEXCEPT;

/* Placeholder of a measurement behind a high pass: tests its arguments and delivers 0.
 * ulCount: at least 2. dUI: at least 20 ps. fCornerHz: at least 20 kHz. ulFFTSize: any.
 * Returns 0, or 1 for bad arguments. */
VOMO_API int32_t Meas_Tx_PattDDj_FilterWithHighPass(const double *pdTimes,
                                                    const uint16_t *pusRunLengths, uint32_t ulCount,
                                                    uint32_t ulFFTSize, double dUI, float fCornerHz,
                                                    uint32_t *pulResult) VOMO_NOEXCEPT;

/* Sets up the table of the 11 presets P0 to P10.
 *
 * bLimitSet: limits of P10's de-emphasis: 0 for -8.0 to 1.5 dB, otherwise -11.0 to -8.0 dB.
 * ulPresetCount: records that are copied or cleared, 11 at most.
 * psSource: optional, so many records to copy in place of the defaults. The blocks that a copied
 *   record's pucBlocks names stay the source's: its ulClockHandle is 0.
 * ppsPresets, pHandle: in and out. NULL: a new table, cleared as a whole, whose handle goes to
 *   *pHandle; free it with Vomo_FREE_PRESETS. Otherwise a table of 11 records to set up again,
 * whose ulClockHandle blocks are freed first; *pHandle is then left alone. Without psSource,
 * ulPresetCount records are cleared, and state, limits and references are written into all 11.
 * PARAM_OUT_OF_RANGE for a count above 11. */
VOMO_API VomoStatus Vomo_RESET_PRESETS(uint32_t bLimitSet, uint32_t ulPresetCount,
                                       const VomoPreset *psSource, VomoPreset **ppsPresets,
                                       VomoHandle *pHandle) VOMO_NOEXCEPT;

/* Frees the ulClockHandle blocks of a table's 11 records, which then have none, and the table
 * itself when hTable, its handle, is not 0. psPresets may be NULL. Always succeeds. */
VOMO_API VomoStatus Vomo_FREE_PRESETS(VomoPreset *psPresets, VomoHandle hTable) VOMO_NOEXCEPT;

/* Measures one preset on its capture: dVb, the mean of the long high runs less that of the long low
 * runs, volts. On the way Vomo_Gen3Check reads what the capture says of itself into sGen3CheckBuf
 * (ucBlockCount is in and out); its blocks are owned by ulClockHandle, which frees those of an
 * earlier capture.
 *
 * ppsWaveforms: only the first of them is used. ulPreset: 0 to 10.
 * dUI: seconds, above 0. iRunMin, ulRunMax, ulWindowFirst, ulWindowLast: the runs and the window in
 *   them, see VomoCOMPUTE_TARGET_RUNLENGTH_AVERAGE_VOLTAGE. The largest spread of the mean is 1.0.
 * psPresets: the table of 11 records.
 * PARAM_NOT_VALID for an argument out of these ranges; PATTERN_NOT_FOUND for fewer than two
 * crossovers; otherwise the error word of the stage that failed. */
VOMO_API VomoStatus Vomo_CALCULATE_Vb(VomoWaveform **ppsWaveforms, uint32_t ulPreset, double dUI,
                                      int32_t iRunMin, uint32_t ulRunMax, uint32_t ulWindowFirst,
                                      uint32_t ulWindowLast, VomoPreset *psPresets) VOMO_NOEXCEPT;

/* Turns the voltages of a table into decibels and judges them. Preshoot is
 * 20 log10(reference / this), de-emphasis 20 log10(this / reference); a value on a limit passes. A
 * preset whose dVb is 0.0 is not touched. ulState is 1 when all that has a reference is within its
 * limits or there is no reference, 0 when one is not, and 3 when a reference was not measured; of
 * a failed preshoot and a missing de-emphasis reference it is 3.
 * iPresetCount: presets to evaluate; above 11 counts as 11. psPresets: the table of 11 records,
 * NULL does nothing. Always succeeds. */
VOMO_API VomoStatus Vomo_CALCULATE_PRESET_RESULTS(int32_t iPresetCount,
                                                  VomoPreset *psPresets) VOMO_NOEXCEPT;

/* Corrects the edges that follow a de-emphasised bit by the share that the smaller level has in
 * their timing: (A - B) * mean / (2 * (A + B)), with A the full and B the steady half swing and the
 * mean taken of pdValues over the edges that start from the full level.
 *
 * psRunInfo: ulCount edges (at least 2); pdTimes is corrected, of pucFlags CROSSOVER_DEEMPH is
 * read. pdValues: one for each edge. ulFirst, ulLast: edges of the mean, the last above the first
 * and below ulCount; corrected are those from ulFirst + 1 on. pfVoltages: four levels as from
 * Vomo_FIND_AVE_VOLTAGE_LEVELS: high and low behind an edge, steady high and low, volts. Without an
 * edge from the full level, or with swings that add up to 0, the correction is not finite.
 * PARAM_OUT_OF_RANGE for the indices and the count. */
VOMO_API VomoStatus Vomo_DERATE_DEMPHASIS_JITTER(VomoCrossoverData *psRunInfo,
                                                 const double *pdValues, uint32_t ulFirst,
                                                 uint32_t ulLast,
                                                 const float *pfVoltages) VOMO_NOEXCEPT;

/* Direct voltage of a common mode: extremes and mean of the samples ulFirst to ulLast.
 *
 * pfSamples: ulSampleCount volts. pdMax, pdMin, pdMean: volts, the mean rounded to float.
 * PARAM_OUT_OF_RANGE for ulFirst above ulLast and for ulLast outside the samples. */
VOMO_API VomoStatus Vomo_DC_COMMON_MODE(uint32_t ulSampleCount, const float *pfSamples,
                                        uint32_t ulFirst, uint32_t ulLast, double *pdMax,
                                        double *pdMin, double *pdMean) VOMO_NOEXCEPT;

/* Alternating voltage of a common mode, peak to peak, in a band and below a corner. Its samples are
 * cut at both ends to a stretch that closes on itself, their mean is taken off, and filters of
 * first order are applied to their spectrum, so the stretch counts as one period.
 *
 * pfSamples: ulSampleCount volts, at least one.
 * fGuardFraction: share of the stretch left out at each end of a filtered signal, not below 0.
 * dHighPassFc, dBandLowPassFc: 3 dB corners of the band, hertz.
 * dLowPassFc: 3 dB corner of the low pass alone, hertz.
 * dSampleInterval: seconds, above 0.
 * pdBandPeakPeak, pdLowPassPeakPeak: volts.
 * PARAM_OUT_OF_RANGE for values outside these ranges; PARAM_NOT_VALID for a stretch of a single
 * sample; COMPUTATION_ERROR when the guards leave nothing. */
VOMO_API VomoStatus Vomo_AC_COMMON_MODE_VOLTAGE(const float *pfSamples, uint32_t ulSampleCount,
                                                float fGuardFraction, double dHighPassFc,
                                                double dBandLowPassFc, double dLowPassFc,
                                                double dSampleInterval, double *pdBandPeakPeak,
                                                double *pdLowPassPeakPeak) VOMO_NOEXCEPT;

/* Voltage levels of a transmitter with de-emphasis. A block of samples 2 UI less two samples long
 * that moves by less than 0.05 V is flat: the steady levels are the medians of the means of the
 * flat blocks above and below 0 V, taken over those within 20 % of the median of all. The peak
 * levels are the medians of local extremes beyond 1.3 times the steady level, looked for in the
 * middle of consecutive triples of samples.
 *
 * psWaveform, ulFirst, ulLast: the samples used; the last below the sample count and above the
 *   first. Sample interval above 0.
 * dUI: unit interval, seconds, more than one sample.
 * afVoltageLevels: four floats, volts: high and low level at the peak of a bit straight behind an
 *   edge, steady high and steady low level. A peak level without an extreme is the steady level.
 * PARAM_OUT_OF_RANGE for values outside these ranges. PATTERN_NOT_FOUND when a polarity has no
 * steady level, as in a range shorter than one block: then only the two steady levels are written,
 * a missing one as Vomo_MEDIAN_FLOAT gives it for a range of no elements. */
VOMO_API VomoStatus Vomo_FIND_AVE_VOLTAGE_LEVELS(const VomoWaveform *psWaveform, uint32_t ulFirst,
                                                 uint32_t ulLast, double dUI,
                                                 float *afVoltageLevels) VOMO_NOEXCEPT;

/* Rise and fall times from the slopes of the edges ulFirst to ulLast: the share of the swing from
 * fLowFraction to fHighFraction over the slope. The swing lies between the peak levels; an edge
 * with CROSSOVER_DEEMPH starts from the steady level instead and ends at the peak one.
 *
 * psEdges: at least two edges with their flag bytes; times are not used. An edge whose two low flag
 *   bits are not exactly CROSSOVER_RISE falls.
 * pdSlopes: volts per second, one for each edge of the list, of either sign; 0 gives infinity.
 * afVoltageLevels: four levels as Vomo_FIND_AVE_VOLTAGE_LEVELS gives them.
 * fLowFraction, fHighFraction: 0.2 and 0.8 for the times from 20 % to 80 %.
 * pulCount: ulLast - ulFirst + 1. ppdTimes, pHandle: as many seconds, the first for edge ulFirst;
 *   the caller frees them.
 * PARAM_OUT_OF_RANGE for fewer than two edges, for ulLast not above ulFirst or outside the list. */
VOMO_API VomoStatus Vomo_FIND_RISE_FALL_TIMES_SLOPE(const VomoCrossoverData *psEdges,
                                                    const double *pdSlopes, uint32_t ulFirst,
                                                    uint32_t ulLast, const float *afVoltageLevels,
                                                    float fLowFraction, float fHighFraction,
                                                    uint32_t *pulCount, double **ppdTimes,
                                                    VomoHandle *pHandle) VOMO_NOEXCEPT;

/* Rise and fall times from the samples around the edges: the time between the two crossings of the
 * thresholds, each placed by a straight line through two samples. From the edge's sample the search
 * goes back to the threshold that the edge comes from and then on to the other one; it ends at the
 * first and at the last sample. Thresholds are fraction * top + (1 - fraction) * bottom with the
 * levels between which Vomo_FIND_RISE_FALL_TIMES_SLOPE takes its swing.
 *
 * psEdges: at least two edges with times and flag bytes. A time outside the samples counts as that
 *   of the nearest one.
 * psWaveform: the samples, at least one.
 * The other arguments and the failures are those of Vomo_FIND_RISE_FALL_TIMES_SLOPE. */
VOMO_API VomoStatus Vomo_FIND_RISE_FALL_TIMES_WAVEFORM(
    const VomoCrossoverData *psEdges, const VomoWaveform *psWaveform, uint32_t ulFirst,
    uint32_t ulLast, const float *afVoltageLevels, float fLowFraction, float fHighFraction,
    uint32_t *pulCount, double **ppdTimes, VomoHandle *pHandle) VOMO_NOEXCEPT;

/* ============================== Low-frequency signalling ==================================== */

/* Settings of the burst test, and the four fields called written. */
typedef struct VomoLFTestParams {
  /* 1 burst train, 2 pulse-width coded. */
  int32_t eLFTestType;
  /* Bursts to look for. */
  int32_t iBurstCount;
  /* Written: bursts found. */
  int32_t iBurstsFound;
  /* Written: 1 if the last burst's first edge rises, 0 if it falls. */
  int32_t iFirstEdgeRising;
  /* Samples behind the first crossover at which the polarity is read. */
  int32_t iPolaritySampleOffset;
  /* Samples that the rise and fall times look away from a crossover. */
  int32_t iEdgeSearchSamples;
  /* Pulse-width coded: not 0 measures the transmit ratio, 0 the minor duration. */
  int32_t iUseTransmitRatio;
  /* Bit durations: fewest periods, and most periods that make the average. */
  int32_t iMinPeriods, iAveragePeriods;
  /* What begins a burst: 0 either sign beyond the threshold, 1 below its negative, 2 above it. */
  int32_t eBurstPolarity;
  /* Samples beyond the band for a crossover. */
  uint32_t ulFilterCount;
  /* Written: first and last sample of each burst, in pairs. */
  uint32_t aulBurstBounds[10];
  /* Volts, above 0 and below 5. */
  float fBurstThreshold;
  /* Seconds cut from each end of a burst before it is measured. */
  float fTrimStart, fTrimEnd;
  /* Levels of the rise and fall times, fractions of the swing. */
  float fLowLevelFraction, fHighLevelFraction;
  /* Written: mean over the bursts of their mean periods, seconds. */
  double dMeanPeriod;
  /* Quiet time that ends a burst, seconds. */
  double dIdleTime;
  /* Handed to the crossover search, seconds. */
  double dUnitInterval;
} VomoLFTestParams;

/* Extremes over all bursts. A burst train (type 1) and pulse-width coding (type 2) each write
 * theirs. */
typedef struct VomoLFTestResults {
  /* Both: seconds. */
  double dRiseTimeMax, dFallTimeMax, dPeriodMin, dPeriodMax;
  /* Type 1: volts. */
  double dVoltagePPMin, dVoltagePPMax;
  /* Type 2: volts. */
  double dAmplitudeMin, dAmplitudeMax;
  /* Type 1: seconds, seconds, percent, volts. */
  double dBurstTimeMin, dBurstTimeMax, dRepeatTimeMin, dRepeatTimeMax;
  double dDutyCycleMin, dDutyCycleMax;
  double dCommonModeMax;
  /* Type 2: ratios. */
  double dBitDurationMin, dBitDurationMax, dTransmitRatioMin, dTransmitRatioMax;
  /* Type 2: seconds, volts, seconds. */
  double dMinorDurationMin, dMinorDurationMax;
  double dDiffDCMin, dDiffDCMax;
  double dPrepareTimeMin, dPrepareTimeMax;
} VomoLFTestResults;

/* Low-frequency bursts: found in a capture, cut to what is to be measured, and measured one by one.
 * In this family a bad argument is PARAM_OUT_OF_RANGE, a NULL pointer too; Vomo_LF_TEST alone has
 * another word for NULL. "Not negative" refuses NaN as well.
 *
 * Bounds are pairs of sample indices, element 2i the start and 2i + 1 the end of burst i. Prepare
 * values are three doubles for each burst, seconds: the start of the phase before the one that
 * leads up to the burst, the start of that one, and its end. */

/* Finds up to psParams->iBurstCount bursts and measures each, keeping minimum and maximum of every
 * quantity over all of them. Prepare phases, burst time and repeat time go by the bursts as found,
 * all else by the bursts less fTrimStart and fTrimEnd. Crossovers are those of
 * Vomo_FIND_CROSSOVERS_FILT at 0 V.
 * pfCommonMode: optional, the common-mode samples at the same indices as the waveform's; used for
 *   type 1.
 * psParams: settings, and the fields called written. iBurstsFound and dMeanPeriod are written only
 *   when the whole call succeeds, aulBurstBounds holds the first five bursts at most.
 * psResults: the fields of the type, written as the bursts go by, so also before a failure. The
 *   rest stays as it is: the repeat time of a single burst, everything without a burst.
 * Type 2 finds bursts by Vomo_LF_BURST_BOUNDS_PWM and measures levels in the prepare phases, 0.2 us
 * away from their ends; any other type takes Vomo_LF_BURST_BOUNDS. A type that is neither 1 nor 2
 * fails at its first burst, for want of prepare values.
 * LF_FEWER_BURSTS, a warning, when there are fewer bursts than asked for, none included.
 * FILE_READ_ERROR for a NULL psWaveform, psParams or psResults; COMPUTATION_ERROR for a capture
 * that ends inside a burst; otherwise the error word of the step that failed, such as
 * PARAM_OUT_OF_RANGE for a burst that the trim leaves fewer than two crossovers. No block is left
 * to free. */
VOMO_API VomoStatus Vomo_LF_TEST(const VomoWaveform *psWaveform, const float *pfCommonMode,
                                 VomoLFTestParams *psParams,
                                 VomoLFTestResults *psResults) VOMO_NOEXCEPT;

/* Finds bursts between quiet stretches.
 * iBurstCount: bursts to look for, from 1.
 * eBurstPolarity: what begins a burst, 0 a sample beyond the threshold on either side, 1 below its
 *   negative, 2 above it.
 * fBurstThreshold: volts, above 0 and below 5.
 * dIdleTime: seconds, not negative. A burst ends at the last of dIdleTime / dSampleInterval + 1
 *   samples in a row (the quotient truncated) whose magnitude is below the threshold, so its end
 *   lies that far behind its last edge. A sample just at the threshold neither begins nor ends.
 * piBurstsFound: bursts with an end.
 * ppulBounds, phBounds: iBurstCount pairs, those not found 0; the caller frees them, also after
 *   LF_FEWER_BURSTS (a warning: the capture held fewer) and COMPUTATION_ERROR (the last burst never
 *   went quiet), which deliver what was found.
 * PARAM_OUT_OF_RANGE also for a sample interval not above 0. */
VOMO_API VomoStatus Vomo_LF_BURST_BOUNDS(const VomoWaveform *psWaveform, int32_t iBurstCount,
                                         int32_t eBurstPolarity, float fBurstThreshold,
                                         double dIdleTime, int32_t *piBurstsFound,
                                         uint32_t **ppulBounds, VomoHandle *phBounds) VOMO_NOEXCEPT;

/* Finds pulse-width coded bursts, which lie between stalls: stretches of more than 1 us in which
 * the signal stays on one side. A burst starts at the last positive sample of a pulse that stood
 * above the threshold for 1 us / dSampleInterval + 1 samples in a row (the quotient truncated), and
 * ends when the magnitude has been above the threshold for as many samples, on the last of them.
 * A stall that ended one burst also prepares the next. Only a sample whose magnitude is not above
 * the threshold interrupts a stall: a capture whose edges have none ends a burst that soon.
 * eBurstPolarity and dIdleTime are tested and not used; all else is as in Vomo_LF_BURST_BOUNDS. */
VOMO_API VomoStatus Vomo_LF_BURST_BOUNDS_PWM(const VomoWaveform *psWaveform, int32_t iBurstCount,
                                             int32_t eBurstPolarity, float fBurstThreshold,
                                             double dIdleTime, int32_t *piBurstsFound,
                                             uint32_t **ppulBounds,
                                             VomoHandle *phBounds) VOMO_NOEXCEPT;

/* Moves the start of each of iBurstCount bursts (from 1) up by fTrimStart and its end down by
 * fTrimEnd, seconds, not negative, in whole samples of dSampleInterval (above 0), truncated.
 * Whether anything of a burst is left is not tested; indices stop at 0 and at 2^32 - 1.
 * ppulTrimmed, phTrimmed: new bounds; the caller frees them. */
VOMO_API VomoStatus Vomo_LF_TRIM_BOUNDS(int32_t iBurstCount, double dSampleInterval,
                                        float fTrimStart, float fTrimEnd, const uint32_t *pulBounds,
                                        uint32_t **ppulTrimmed,
                                        VomoHandle *phTrimmed) VOMO_NOEXCEPT;

/* Finds the prepare phases before each of iBurstCount bursts (from 1). Looking back from a burst's
 * start: where the signal was last positive gives the third value, where before that it was last
 * negative the second, and where it was last positive at least ulLimit samples before that the
 * first.
 * Each is the crossing of 0 V on the line through two neighbouring samples there, as seconds. The
 * third lies one sample early. The first and second are extrapolated from inside the phase, so that
 * an edge without samples on its slope gives an infinity or NaN. A value whose place is not found
 * behind sample 0 is 0.0.
 * ppdPrepare, phPrepare: three values for each burst; the caller frees them.
 * PARAM_OUT_OF_RANGE also for a sample interval not above 0, a start without a sample behind it,
 * and ulLimit above the start or above the place from which it counts. */
VOMO_API VomoStatus Vomo_STALL_PREPARE_BOUNDS(const VomoWaveform *psWaveform, int32_t iBurstCount,
                                              uint32_t ulLimit, const uint32_t *pulBounds,
                                              double **ppdPrepare,
                                              VomoHandle *phPrepare) VOMO_NOEXCEPT;

/* The measurements of one burst. They share their form:
 * iBurstIndex: 0 for the first burst, whose values are set, above it for a later one, whose values
 *   are compared with those that *pdMin and *pdMax hold from before; below 0 is out of range.
 * psCrossovers: the burst's crossovers, rising and falling in turn.
 * pdIntervals: the times between them, seconds, one fewer than crossovers. A period is two
 *   intervals, the ones 2j and 2j + 1.
 * psWaveform: the samples behind the crossovers. A crossover's sample is its time over
 *   dSampleInterval, truncated; one outside the waveform is out of range.
 * pdMin, pdMax: extremes over the bursts so far. A burst without a period counts as 0.0.
 * How a measurement tracks the extremes inside one burst is its own; where nothing is said, the
 * first period sets both, then a value below the minimum replaces it and any other raises the
 * maximum. */

/* Lowest and highest amplitude, volts. Each period, both ends included, gives the magnitude of its
 * lowest sample and its highest sample. The first period sets the minimum to the one and the
 * maximum to the other. Later, a magnitude below the minimum replaces it; if not, a highest sample
 * below the minimum replaces it; only if neither, the maximum grows to the larger of the two.
 * pulBounds: not NULL, and not read. */
VOMO_API VomoStatus Vomo_LF_AMPLITUDE(int32_t iBurstIndex, const VomoWaveform *psWaveform,
                                      const uint32_t *pulBounds,
                                      const VomoCrossoverData *psCrossovers, double *pdMin,
                                      double *pdMax) VOMO_NOEXCEPT;

/* Each period over the burst's mean period, a ratio.
 * iMinPeriods: fewest periods, from 1; fewer in the burst are a COMPUTATION_ERROR.
 * iAveragePeriods: the mean is that of the first so many periods, or of all; not below
 *   iMinPeriods. */
VOMO_API VomoStatus Vomo_LF_BIT_DURATION_TOLERANCE(int32_t iBurstIndex, int32_t iMinPeriods,
                                                   int32_t iAveragePeriods,
                                                   const VomoCrossoverData *psCrossovers,
                                                   const double *pdIntervals, double *pdMin,
                                                   double *pdMax) VOMO_NOEXCEPT;

/* Seconds from start to end of burst iBurstIndex of pulBounds, rounded to float. */
VOMO_API VomoStatus Vomo_LF_BURST_TIME(int32_t iBurstIndex, double dSampleInterval,
                                       const uint32_t *pulBounds, double *pdMin,
                                       double *pdMax) VOMO_NOEXCEPT;

/* Largest less smallest common-mode sample, volts; only the maximum is kept.
 * ppfCommonMode: address of the pointer to the samples, neither NULL.
 * ulFirst, ulLast: the range, which the array must hold. */
VOMO_API VomoStatus Vomo_LF_COMMON_MODE(int32_t iBurstIndex, const float *const *ppfCommonMode,
                                        uint32_t ulFirst, uint32_t ulLast,
                                        double *pdMax) VOMO_NOEXCEPT;

/* The two levels of the prepare phases before burst iBurstIndex, volts: the high one is the mean
 * between the second and the third value of pdPrepare, the low one that between the first and the
 * second, each shortened by dGuardStart and dGuardEnd seconds. Of the high level and the magnitude
 * of the low one, the smaller is the burst's minimum and the larger its maximum; a negative high
 * level thus is the minimum.
 * pfLevelHigh, pfLevelLow: the levels of this burst.
 * PARAM_OUT_OF_RANGE also for a range that is empty, not finite or not inside the waveform. */
VOMO_API VomoStatus Vomo_LF_DIFF_DC(int32_t iBurstIndex, const VomoWaveform *psWaveform,
                                    const double *pdPrepare, double dGuardStart, double dGuardEnd,
                                    float *pfLevelHigh, float *pfLevelLow, double *pdMin,
                                    double *pdMax) VOMO_NOEXCEPT;

/* High time over period, percent. A value above the maximum replaces it, any other lowers the
 * minimum.
 * iFirstEdgeRising: 1 if the signal is high behind the first crossover, 0 if low, nothing else. */
VOMO_API VomoStatus Vomo_LF_DUTY_CYCLE(int32_t iBurstIndex, const VomoCrossoverData *psCrossovers,
                                       const double *pdIntervals, int32_t iFirstEdgeRising,
                                       double *pdMin, double *pdMax) VOMO_NOEXCEPT;

/* Tells how a burst begins: 1 for a positive sample iPolaritySampleOffset samples (from 1) behind
 * that of the first crossover, 0 for a negative one. COMPUTATION_ERROR for a sample of exactly 0;
 * PARAM_OUT_OF_RANGE also for an empty list. */
VOMO_API VomoStatus Vomo_LF_INITIAL_RISE_FALL(const VomoWaveform *psWaveform,
                                              const VomoCrossoverData *psCrossovers,
                                              int32_t iPolaritySampleOffset,
                                              int32_t *piFirstEdgeRising) VOMO_NOEXCEPT;

/* The smaller interval of each period, seconds. The first one sets the minimum alone: the maximum
 * starts at 0.0, and stays there in a burst of one period. */
VOMO_API VomoStatus Vomo_LF_MINOR_DURATION(int32_t iBurstIndex,
                                           const VomoCrossoverData *psCrossovers,
                                           const double *pdIntervals, double *pdMin,
                                           double *pdMax) VOMO_NOEXCEPT;

/* Period, seconds. pdMean: the mean of this burst's periods, 0.0 without one. */
VOMO_API VomoStatus Vomo_LF_PERIOD(int32_t iBurstIndex, const VomoCrossoverData *psCrossovers,
                                   const double *pdIntervals, double *pdMean, double *pdMin,
                                   double *pdMax) VOMO_NOEXCEPT;

/* Length of the phase that leads up to burst iBurstIndex: third less second value of pdPrepare. */
VOMO_API VomoStatus Vomo_LF_PREPARE_TIME(int32_t iBurstIndex, const double *pdPrepare,
                                         double *pdMin, double *pdMax) VOMO_NOEXCEPT;

/* Seconds from the start of burst iBurstIndex to that of the next one, rounded to float. pulBounds
 * must hold the next one: not for the last burst. */
VOMO_API VomoStatus Vomo_LF_REPEAT_TIME(int32_t iBurstIndex, double dSampleInterval,
                                        const uint32_t *pulBounds, double *pdMin,
                                        double *pdMax) VOMO_NOEXCEPT;

/* Longest rise and longest fall, seconds, rounded to float, from the second crossover to the last
 * but one. Each edge is followed from its crossover outwards to the first samples at or beyond the
 * two levels, and interpolated there.
 * iFirstEdgeRising: as in Vomo_LF_DUTY_CYCLE.
 * iEdgeSearchSamples: samples looked at in each direction, the crossover's own among them, from 1.
 *   Where none of them reaches a level, the place found on the previous edge of that kind stands,
 *   0.0 at first, and the time comes out as it may.
 * fLowFraction (0 to 1), fHighFraction (not negative): the levels, as fractions of the swing from
 *   the low to the high level.
 * fWindowBegin, fWindowEnd: not negative; the part of each half period, as fractions of it, whose
 *   mean counts towards the high or the low level. A window that is turned round or ends outside
 *   the waveform is out of range.
 * pfLevels: optional, the high and the low level in volts, instead of measuring them.
 * pdRiseMax, pdFallMax: the maxima over the bursts so far; 0.0 for a burst of fewer than three
 *   crossovers. */
VOMO_API VomoStatus Vomo_LF_RISE_FALL_TIME(const VomoWaveform *psWaveform, int32_t iBurstIndex,
                                           const VomoCrossoverData *psCrossovers,
                                           int32_t iFirstEdgeRising, int32_t iEdgeSearchSamples,
                                           float fLowFraction, float fHighFraction,
                                           float fWindowBegin, float fWindowEnd,
                                           const float *pfLevels, double *pdRiseMax,
                                           double *pdFallMax) VOMO_NOEXCEPT;

/* The larger over the smaller interval of each period. A value above the maximum replaces it; any
 * other below the maximum replaces the minimum, whatever that was, so that the minimum of a burst
 * is the last value below the maximum and not the smallest. */
VOMO_API VomoStatus Vomo_LF_TRANSMIT_RATIO(int32_t iBurstIndex,
                                           const VomoCrossoverData *psCrossovers,
                                           const double *pdIntervals, double *pdMin,
                                           double *pdMax) VOMO_NOEXCEPT;

/* Largest less smallest sample of each period, both ends included, volts. A value above the maximum
 * replaces it, any other lowers the minimum.
 * pulBounds: not NULL, and not read. */
VOMO_API VomoStatus Vomo_LF_VOLTAGE_PP(int32_t iBurstIndex, const VomoWaveform *psWaveform,
                                       const uint32_t *pulBounds,
                                       const VomoCrossoverData *psCrossovers, double *pdMin,
                                       double *pdMax) VOMO_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
