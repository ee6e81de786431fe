#ifndef trelModelFaults_h
#define trelModelFaults_h

class trelReadState;
class trelSimulationParameter;

/**
 * Tells of all in a model that was read that cannot be simulated or cannot be meant, with the lines
 * that said it: counts that nothing follows, coefficients out of range, bodies without extent.
 * The region must not have been cut to the medium yet.
 */
void FindModelFaults(const trelSimulationParameter& parameter, trelReadState& state);

#endif
