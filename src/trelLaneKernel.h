#ifndef trelLaneKernel_h
#define trelLaneKernel_h

class trelPacketLanes;

/**
 * @file trelLaneKernel.h
 * Plain steps of packets side by side: compiled for each instruction set, of which the program
 * takes the best that the processor has.
 */

/** Flies all packets of @p lanes, as many at once as it asks for. */
void FlyLanes(trelPacketLanes& lanes);

/** The instruction set that is used. */
const char* GetLaneTarget();
/** How many packets it takes side by side. */
int GetLaneCount();

#endif
