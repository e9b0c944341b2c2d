// The figures of the view layer and the resources, one JSON line each.
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Derived/Sources/TavrinAsset.hpp"
#include "Platform/View/AnimatedImageView.hpp"
#include "Tavrin/GifView.hpp"
#include "Tests/Support/GifWriter.hpp"

namespace {

using namespace tavrin;
using Clock = std::chrono::steady_clock;
using std::chrono::duration;
using std::chrono::milliseconds;

