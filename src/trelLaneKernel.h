#ifndef trelLaneKernel_h
#define trelLaneKernel_h

class trelPacketLanes;

/**
 * @file trelLaneKernel.h
 * Plain steps of packets side by side: compiled for each instruction set, of which the program
 * takes the best that the processor has.
 */

/** Flies all packets of the supplier of @p lanes, @p asked side by side or as many as the processor
 *  has lanes; 0 for as many as it does best. */
void FlyLanes(trelPacketLanes& lanes, int asked);

/** The instruction set that is used. */
const char* GetLaneTarget();
/** How many packets it takes side by side; 0 if the program was built without. */
int GetLaneCount();

#endif
