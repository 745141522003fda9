#pragma once

/// A host's own code with warnings that are errors in Telvora's builds: an old cast, a lost sign, a
/// shadowed variable. It must still compile when the host links Telvora.
inline unsigned carelessSum(int first, double second)
{
    unsigned sum = first;
    {
        int sum = (int)second;
        first += sum;
    }
    return sum + first;
}
