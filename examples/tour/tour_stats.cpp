#include "tour.hpp"

void tour_stats() {}
