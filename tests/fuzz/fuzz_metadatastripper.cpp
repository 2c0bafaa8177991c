// Fuzz entry point for metadata removal: any bytes, any format the stripper recognises. Built
// with libFuzzer when the compiler has it (clang -fsanitize=fuzzer), else run by fuzzdriver.cpp.

#include <Quillon/platform/image/metadatastripper.h>

#include <QBuffer>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    const QByteArray data = QByteArray::fromRawData(reinterpret_cast<const char *>(bytes), qsizetype(size));
    QString type;
    TULOError error;
    const QByteArray stripped = TULOMetadataStripper::strippedImageData(data, &type, &error);
    // Either a result or a reason: a silent failure would reach the user as "Unknown error".
    if (stripped.isNull() == error.isNull())
        std::abort();
    if (stripped.isNull())
        return 0;
    // Streaming the result must give the very same bytes, and stripping is idempotent in what
    // it accepts: its own output is an image it can read again.
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    if (!TULOMetadataStripper::writeStrippedImageData(data, &buffer) || buffer.data() != stripped)
        std::abort();
    if (TULOMetadataStripper::supportedTypeForData(stripped) != type)
        std::abort();
    return 0;
}
