#ifndef trelSpectrumLine_h
#define trelSpectrumLine_h

#include "trelReadState.h"

class trelSpectrum;

/**
 * @file trelSpectrumLine.h
 * The line "lightsourcespectrumindex": what a source gives at a wavelength, or how a fluorophore
 * converts.
 */

/** Takes energy and number of packets of a spectrum of source @p source, from 0. A number of
 * packets that is out of range, or none, is taken as the nearest that there is, with a warning. */
void ReadLaunchedSpectrum(trelReadState& state, int source, trelSpectrum& spectrum);

/** Takes excitation wavelength, yield, absorption and lifetime; false, with an explanation, if the
 *  line has fewer than @p needs words. */
bool ReadEmittedSpectrum(trelReadState& state, int needs, trelSpectrum& spectrum);

#endif
