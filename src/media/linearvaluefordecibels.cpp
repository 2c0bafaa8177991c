#include <Quillon/media/linearvaluefordecibels.h>

#include <cmath>

double TULOLinearValueForDecibels(double decibels)
{
    return std::pow(10.0, decibels * 0.05);
}
