// Reads damaged copies of good mesh files of one format: meshReadersFuzz FORMAT [files [seed]],
// where the format is the end of a file's name. Each file must be refused, or give a mesh without a
// fault. Meant to run under the sanitizers; the same arguments give the same files.
#include <cstdlib>
#include <iostream>
#include <random>

#include "../meshSamples.h"

/** Damages @p bytes at one place. */
static void Mutate(std::string& bytes, const std::string& other, std::mt19937& random)
{
  static const char* const words[] = {"-1",  "0",    "1e9", "2147483647", "4294967296", "nan",
                                      "inf", "1e39", "\n",  " ",          "@",          "facet ",
                                      "3",   "list", "-0",  "vertex ",    "#",          "\r\n"};
  const auto below = [&](std::size_t n) { return n == 0 ? 0 : random() % n; };
  const std::size_t place = below(bytes.size());
  const std::size_t length = 1 + below(12);
  switch (random() % 7) {
    case 0:
      bytes.resize(place);
      break;
    case 1:
      bytes.erase(place, length);
      break;
    case 2:
      bytes.insert(place, bytes.substr(below(bytes.size()), length * 4));
      break;
    case 3:
      bytes.replace(place, below(4), words[below(std::size(words))]);
      break;
    case 4:
      bytes.replace(place, length, other.substr(below(other.size()), length));
      break;
    default:
      if (!bytes.empty()) bytes[place] = static_cast<char>(random());
  }
}

int main(int argc, char** argv)
{
  const std::string format = argc > 1 ? argv[1] : "";
  const long files = argc > 2 ? std::atol(argv[2]) : 100000;
  std::mt19937 random(argc > 3 ? static_cast<unsigned>(std::atol(argv[3])) : 1u);
  std::vector<MeshSample> samples;
  for (const MeshSample& sample : ReadGoodFiles())
    if (sample.GetEnding() == format) samples.push_back(sample);
  if (samples.empty()) {
    std::cerr << "usage: meshReadersFuzz off|ply|stl|surf|am|mesh [files [seed]]\n";
    return EXIT_FAILURE;
  }
  stderr = std::fopen("/dev/null", "w");  // the reports; the descriptor stays for the sanitizers
  const TemporaryFile file;
  long accepted = 0;
  for (long i = 0; i < files; ++i) {
    MeshSample sample = samples[static_cast<std::size_t>(i) % samples.size()];
    const std::string& other = samples[random() % samples.size()].bytes;
    for (auto left = 1 + random() % 5; left > 0; --left)
      Mutate(sample.bytes, other, random);
    bool read = false;
    const auto reader = file.Read(sample, &read);
    const std::string fault = read ? MeshFault(*reader->GetOutput()) : "";
    if (read) ++accepted;
    if (fault.empty()) continue;
    std::cout << "file " << i << " (" << sample.name << "): " << fault << "\n" << sample.bytes;
    return EXIT_FAILURE;
  }
  std::cout << files << " files, " << accepted << " of them accepted\n";
}
