#pragma once
// A last-in first-out stack for the tree walks. The walks run without
// recursion, since the depth of a tree follows the map file; the first
// entries live inside the object, so that a walk of an ordinary tree (the
// per-frame collision test among them) allocates nothing.
#include <cstddef>
#include <vector>

template <typename T, size_t N = 64>
class CElementStack {
public:
    void Push(const T& value)
    {
        if (nCount < N)
            Inline[nCount] = value;
        else
            Overflow.push_back(value);
        ++nCount;
    }
    T& Top() { return nCount <= N ? Inline[nCount - 1] : Overflow.back(); }
    void Pop()
    {
        if (nCount > N)
            Overflow.pop_back();
        --nCount;
    }
    bool IsEmpty() const { return nCount == 0; }
    size_t Size() const { return nCount; }

private:
    T Inline[N] = {};
    std::vector<T> Overflow;
    size_t nCount = 0;
};
