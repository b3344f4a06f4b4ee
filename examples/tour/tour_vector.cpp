#include "tour.hpp"

void tour_vector() {}
