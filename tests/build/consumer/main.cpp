#include <Quillon/platform/error.h>

#include <cstdio>

int main()
{
    const TULOError error(TULOErrorDomain, TULOErrorNoLinkedAccount);
    std::printf("%s %lld\n", qPrintable(error.domain()), static_cast<long long>(error.code()));
    return error.code() == 3 ? 0 : 1;
}
