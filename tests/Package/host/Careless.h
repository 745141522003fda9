#pragma once

/// A host's own code, which Telvora's builds would refuse: an old cast, a lost sign, a shadow.
/// It must go on compiling when the host links Telvora.
inline unsigned carelessSum(int first, double second)
{
    unsigned sum = first;
    {
        int sum = (int)second;
        first += sum;
    }
    return sum + first;
}
