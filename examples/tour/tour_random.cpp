#include "tour.hpp"

void tour_random() {}
