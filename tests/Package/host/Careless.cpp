#include "Careless.h"

unsigned carelessSumOfOne(int number)
{
    return carelessSum(number, 1.5);
}
