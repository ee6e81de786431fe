#ifndef trelUniformNumbers_h
#define trelUniformNumbers_h

/**
 * @class   trelUniformNumbers
 * @brief   a source of random numbers, to sample points and directions with
 */
class trelUniformNumbers
{
public:
  /** The next number of the calling thread's stream, uniform on [0, 1). */
  virtual double NextRandom() = 0;

  /** A coordinate between -halfAxis and halfAxis. */
  double DrawWithin(double halfAxis) { return (2.0 * NextRandom() - 1.0) * halfAxis; }

  /** The coordinate of one of the two sides at -halfAxis and halfAxis. */
  double DrawSide(double halfAxis) { return NextRandom() < 0.5 ? halfAxis : -halfAxis; }

protected:
  ~trelUniformNumbers() = default;
};

#endif
