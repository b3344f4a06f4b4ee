#include "tour.hpp"

void tour_fitting() {}
