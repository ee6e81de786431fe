// The yardstick of bench/run.py: packets in one box of tissue in air as a bare double loop. It
// draws and turns as the program does, with the C library's functions, and has nothing of what
// makes it a program: no tissues to look up, no limits, no fly time, no measures, no files.
//
//   bare cube|box PACKETS
//   packets P seconds S cpu C absorbed A transmitted T scatterings N
//
// The problems are those of cube.trl and box.trl. S is by the clock on the wall, C of the
// processor.

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <numeric>
#include <vector>

constexpr double twoPi = 6.283185307179586;

struct bareModel
{
  double Low[3], High[3];  ///< corners, mm
  double Mua, Mus;         ///< 1/mm
  double Anisotropy;       ///< not 0
  double RefractiveIndex;  ///< in air
  double StartX, StartY;   ///< where packets enter at z = 0, mm
  bool HasRings;           ///< cells by radius and depth; else boxes
  int Across, Up, Along;   ///< numbers of cells
};

static const bareModel cubeModel = {{0, 0, 0}, {60, 60, 60}, 0.005, 1,  0.01, 1.37,
                                    30.1,      30.2,         false, 60, 60,   60};
static const bareModel boxModel = {{-20, -20, 0}, {20, 20, 20}, 0.1, 10, 0.9, 1.37, 0, 0, true, 1,
                                   200,           200};
constexpr double ringsPerMm = 10;

struct barePacket
{
  double Position[3], Direction[3];
  double Weight;
};

struct bareTally
{
  std::vector<double> Cells;
  double Transmitted = 0;
  long long Scatterings = 0;
};

static std::uint64_t RotateLeft(std::uint64_t x, int bits)
{
  return (x << bits) | (x >> (64 - bits));
}

/** Uniform in (0, 1), by xoshiro256** (Blackman and Vigna 2021). */
static double Draw()
{
  static std::uint64_t s[4] = {1, 2, 3, 4};
  const std::uint64_t result = RotateLeft(s[1] * 5, 7) * 9;
  const std::uint64_t shifted = s[1] << 17;
  s[2] ^= s[0];
  s[3] ^= s[1];
  s[1] ^= s[2];
  s[0] ^= s[3];
  s[2] ^= shifted;
  s[3] = RotateLeft(s[3], 45);
  return (static_cast<double>(result >> 11) + 0.5) * 0x1p-53;
}

/** Reflectance of unpolarised light from index @p n to 1. */
static double Fresnel(double n, double cosIncidence)
{
  const double sinTransmit = n * std::sqrt(1 - cosIncidence * cosIncidence);
  if (sinTransmit >= 1) return 1;
  const double cosTransmit = std::sqrt(1 - sinTransmit * sinTransmit);
  const double rs = (n * cosIncidence - cosTransmit) / (n * cosIncidence + cosTransmit);
  const double rp = (n * cosTransmit - cosIncidence) / (n * cosTransmit + cosIncidence);
  return 0.5 * (rs * rs + rp * rp);
}

static bool IsInside(const bareModel& model, const double* p)
{
  return p[0] >= model.Low[0] && p[1] >= model.Low[1] && p[2] >= model.Low[2] &&
         p[0] < model.High[0] && p[1] < model.High[1] && p[2] < model.High[2];
}

/** Moves to the face ahead. False if the packet leaves there; else it is reflected, and @p step is
 *  what is left of it. */
static bool MeetFace(const bareModel& model, barePacket& packet, double& step)
{
  double nearest = HUGE_VAL;
  int axis = 0;
  for (int a = 0; a < 3; ++a) {
    const double u = packet.Direction[a];
    const double face = u > 0 ? model.High[a] : model.Low[a];
    const double distance = u != 0 ? (face - packet.Position[a]) / u : HUGE_VAL;
    if (distance < nearest) nearest = distance, axis = a;
  }
  for (int a = 0; a < 3; ++a)
    packet.Position[a] += nearest * packet.Direction[a];
  packet.Position[axis] = packet.Direction[axis] > 0 ? model.High[axis] : model.Low[axis];
  step -= nearest;
  if (Draw() > Fresnel(model.RefractiveIndex, std::fabs(packet.Direction[axis]))) return false;
  packet.Direction[axis] = -packet.Direction[axis];
  return true;
}

static void Deposit(const bareModel& model, const double* p, double absorbed, bareTally& tally)
{
  int i = 0;
  int j = static_cast<int>(p[1]);
  int k = static_cast<int>(p[2]);
  if (model.HasRings) {
    j = static_cast<int>(std::sqrt(p[0] * p[0] + p[1] * p[1]) * ringsPerMm);
    k = static_cast<int>(p[2] * ringsPerMm);
    if (j >= model.Up || k >= model.Along) return;
  } else
    i = static_cast<int>(p[0]);
  tally.Cells[(i * model.Up + j) * model.Along + k] += absorbed;
}

/** Turns by Henyey and Greenstein 1941. */
static void Turn(double g, double* u)
{
  const double phi = twoPi * Draw();
  const double cosPhi = std::cos(phi);
  const double sinPhi = (phi < twoPi / 2 ? 1 : -1) * std::sqrt(1 - cosPhi * cosPhi);
  const double f = (1 - g * g) / (1 - g + 2 * g * Draw());
  const double cosTheta = (1 + g * g - f * f) / (2 * g);
  const double sinTheta = std::sqrt(1 - cosTheta * cosTheta);
  const double x = u[0], y = u[1], z = u[2];
  if (std::fabs(z) > 1 - 1e-12) {  // along z the azimuth has no zero: any does
    u[0] = sinTheta * cosPhi;
    u[1] = sinTheta * sinPhi;
    u[2] = z < 0 ? -cosTheta : cosTheta;
    return;
  }
  const double root = std::sqrt(1 - z * z);
  const double k = sinTheta / root;
  u[0] = k * (x * z * cosPhi - y * sinPhi) + x * cosTheta;
  u[1] = k * (y * z * cosPhi + x * sinPhi) + y * cosTheta;
  u[2] = -sinTheta * cosPhi * root + z * cosTheta;
}

/** True if a weak packet ends. */
static bool LosesRoulette(double& weight)
{
  if (weight >= 1e-4) return false;
  if (Draw() >= 0.1) return true;
  weight *= 10;
  return false;
}

static void TracePacket(const bareModel& model, bareTally& tally)
{
  barePacket packet = {{model.StartX, model.StartY, 0}, {0, 0, 1}, 1};
  const double mut = model.Mua + model.Mus;
  const double share = model.Mua / mut;
  double step = -std::log(Draw()) / mut;
  for (;;) {
    double end[3];
    for (int a = 0; a < 3; ++a)
      end[a] = packet.Position[a] + step * packet.Direction[a];
    if (!IsInside(model, end)) {
      if (MeetFace(model, packet, step)) continue;
      tally.Transmitted += packet.Weight;
      return;
    }
    std::memcpy(packet.Position, end, sizeof end);
    ++tally.Scatterings;
    const double absorbed = packet.Weight * share;
    packet.Weight -= absorbed;
    Deposit(model, packet.Position, absorbed, tally);
    Turn(model.Anisotropy, packet.Direction);
    if (LosesRoulette(packet.Weight)) return;
    step = -std::log(Draw()) / mut;
  }
}

int main(int argc, char** argv)
{
  const bool isBox = argc == 3 && std::strcmp(argv[1], "box") == 0;
  if (argc != 3 || (!isBox && std::strcmp(argv[1], "cube") != 0)) {
    std::fprintf(stderr, "Usage: bare cube|box PACKETS\n");
    return EXIT_FAILURE;
  }
  const bareModel& model = isBox ? boxModel : cubeModel;
  const long packets = std::atol(argv[2]);
  bareTally tally;
  tally.Cells.resize(model.Across * model.Up * model.Along);
  const auto start = std::chrono::steady_clock::now();
  const std::clock_t cpuStart = std::clock();
  for (long i = 0; i < packets; ++i)
    TracePacket(model, tally);
  const double cpu = static_cast<double>(std::clock() - cpuStart) / CLOCKS_PER_SEC;
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  const double absorbed = std::accumulate(tally.Cells.begin(), tally.Cells.end(), 0.0);
  const double each = packets > 0 ? 1.0 / static_cast<double>(packets) : 0.0;
  std::printf("packets %ld seconds %.6f cpu %.6f absorbed %.6f transmitted %.6f scatterings %lld\n",
              packets, wall.count(), cpu, absorbed * each, tally.Transmitted * each,
              tally.Scatterings);
  return EXIT_SUCCESS;
}
