// Runs one operation two ways (its reference and SIMD forms, or its public entry and its
// SIMD form) on the same random inputs and compares every output byte, padding included. The cases themselves are generated from the
// operation descriptions; this harness owns the buffers.
//
// Every buffer is allocated to end exactly at the image's last byte, so an over-read
// or over-write is caught by the address sanitizer; outputs of both forms start from
// the same random bytes, so a write into row padding shows up as a difference.
#ifndef LUMIVA_CASE_HARNESS_H
#define LUMIVA_CASE_HARNESS_H

#include "lumiva/lumiva.h"
#include "core/lumivaEntry.h"
#include "platform/host/lumivaHostHooks.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

// How rows are laid out in a case.
enum class Layout { kPacked, kPadded, kPaddedUnaligned, kPackedUnaligned };

class ilmvCase;

// Where a case's mismatches go: a test failure by default; the fuzz target stops the
// process on the first one instead, so the fuzzer keeps the input.
using ilmvCaseReporter = void (*)(const std::string& message);
inline ilmvCaseReporter& ilmvCaseReport()
{
    static ilmvCaseReporter report = [](const std::string& message) { ADD_FAILURE() << message; };
    return report;
}

// Where case buffers come from: the heap, or (for the remote tests) blocks the DSP shares.
struct ilmvCaseAllocator {
    void* (*allocate)(size_t size);
    void (*release)(void* p);
};

inline ilmvCaseAllocator& ilmvCaseMemory()
{
    static ilmvCaseAllocator memory = {[](size_t n) -> void* { return new uint8_t[n]; },
                                       [](void* p) { delete[] static_cast<uint8_t*>(p); }};
    return memory;
}

struct ilmvCaseRelease {
    void (*release)(void*);
    void operator()(uint8_t* p) const { release(p); }
};

struct ilmvBuffer {
    std::unique_ptr<uint8_t, ilmvCaseRelease> storage[2] = {
        std::unique_ptr<uint8_t, ilmvCaseRelease>(nullptr, {nullptr}),
        std::unique_ptr<uint8_t, ilmvCaseRelease>(nullptr, {nullptr})};
    uint8_t* base[2] = {nullptr, nullptr};
    size_t size = 0;
    uint32_t stride = 0;
};

template <class T>
class CaseImage {
public:
    CaseImage(ilmvBuffer* buffer, bool present) : buffer_(buffer), present_(present) {}
    T* data(int form = 0) const { return present_ ? reinterpret_cast<T*>(buffer_->base[form]) : nullptr; }
    uint32_t stride() const { return buffer_->stride; }

private:
    ilmvBuffer* buffer_;
    bool present_;
};

template <class T>
class CaseResult {
public:
    explicit CaseResult(T* values, size_t count = 1) : values_(values), count_(count) {}
    T* data(int form = 0) const { return values_ ? values_ + form * count_ : nullptr; }

private:
    T* values_;
    size_t count_;
};

class ilmvCase {
public:
    ilmvCase(uint32_t width, uint32_t height, Layout layout, uint32_t seed)
        : width_(width), height_(height), layout_(layout), rng_(seed)
    {
    }

    uint32_t width() const { return width_; }
    uint32_t height() const { return height_; }

    // An image of `channels` elements per pixel; wdiv and hdiv of 2 make a chroma plane of
    // (width + 1) / 2 samples and (height + 1) / 2 rows. An image whose size is not the case's
    // (a transpose, a doubling) gives its own width and height.
    template <class T>
    CaseImage<T> input(size_t channels, const char* strideName, bool optional = false, int wdiv = 1, int hdiv = 1,
                       int64_t width = -1, int64_t height = -1)
    {
        if (optional && coin()) return CaseImage<T>(&placeholder_, false);
        ilmvBuffer* b = allocate<T>(channels, strideName, false, wdiv, hdiv, width, height);
        fillRandom<T>(b->base[0], b->size, optional);
        return CaseImage<T>(b, true);
    }

    template <class T>
    CaseImage<T> output(size_t channels, const char* strideName, bool = false, int wdiv = 1, int hdiv = 1,
                        int64_t width = -1, int64_t height = -1)
    {
        ilmvBuffer* b = allocate<T>(channels, strideName, true, wdiv, hdiv, width, height);
        fillRandom<T>(b->base[0], b->size, false);
        std::memcpy(b->base[1], b->base[0], b->size);
        outputs_.push_back(b);
        return CaseImage<T>(b, true);
    }

    // Scalars are taken from `feed` while it lasts (a fuzzer's input), then from the generator.
    void feedScalars(const uint8_t* feed, size_t size)
    {
        feed_ = feed;
        feedLeft_ = size;
    }

    // One of the listed values, or any value of the type when the list is empty.
    template <class T>
    T scalar(std::initializer_list<T> choices)
    {
        if (choices.size()) return *(choices.begin() + nextIndex() % choices.size());
        T value;
        if (feedLeft_ >= sizeof value) {
            std::memcpy(&value, feed_, sizeof value);
            feed_ += sizeof value;
            feedLeft_ -= sizeof value;
            // Floats stay normal and moderate, as fillRandom keeps them: the ARM vector unit
            // flushes denormals, and the forms are documented to agree on normal numbers.
            if constexpr (std::is_floating_point_v<T>)
                if (!(std::isnormal(value) || value == 0) || std::fabs(value) > 1e6f) value = T(0.5);
            return value;
        }
        fillRandom<T>(reinterpret_cast<uint8_t*>(&value), sizeof value, false);
        return value;
    }

    // An input array of `count` values (filter taps): mostly small, sometimes any value of
    // the type, so both the usual and the saturating paths run.
    template <class T>
    CaseResult<T> array(uint64_t count)
    {
        arrays_.emplace_back(std::max<uint64_t>(count, 1) * sizeof(T));
        T* values = reinterpret_cast<T*>(arrays_.back().data());
        const bool wide = rng_() % 4 == 0;
        for (uint64_t i = 0; i < count; ++i) {
            if constexpr (std::is_floating_point_v<T>)
                values[i] = static_cast<T>(static_cast<int32_t>(rng_() % 513) - 256) / 128.0f;
            else if (wide)
                fillRandom<T>(reinterpret_cast<uint8_t*>(values + i), sizeof(T), false);
            else
                values[i] = static_cast<T>(static_cast<int32_t>(rng_() % 33) - (std::is_signed_v<T> ? 16 : 0));
        }
        return CaseResult<T>(values);
    }

    template <class T>
    CaseResult<T> result(size_t count = 1, bool optional = false)
    {
        if (optional && coin()) return CaseResult<T>(nullptr, count);  // an optional output left out
        count = std::max<size_t>(count, 1);
        // From the case memory like the images, so lists reach a remote side as shared blocks too.
        const ilmvCaseAllocator& memory = ilmvCaseMemory();
        results_.emplace_back(static_cast<uint8_t*>(memory.allocate(2 * count * sizeof(T))),
                              ilmvCaseRelease{memory.release});
        std::memset(results_.back().get(), 0xA5, 2 * count * sizeof(T));
        resultSizes_.push_back(count * sizeof(T));
        return CaseResult<T>(reinterpret_cast<T*>(results_.back().get()), count);
    }

    template <class R>
    void record(int form, R value)
    {
        returned_[form] = static_cast<int64_t>(value);
    }

    void compare()
    {
        if (returned_[0] != returned_[1])
            ilmvCaseReport()(describe() + " returned " + std::to_string(returned_[0]) + " and " +
                             std::to_string(returned_[1]));
        for (const ilmvBuffer* b : outputs_) {
            for (size_t i = 0; i < b->size; ++i) {
                if (b->base[0][i] != b->base[1][i]) {
                    std::ostringstream s;
                    s << describe() << ": byte " << i << " of an output (row " << i / b->stride << ", stride "
                      << b->stride << ") is " << int(b->base[1][i]) << " from the second form and "
                      << int(b->base[0][i]) << " from the first";
                    ilmvCaseReport()(s.str());
                    break;
                }
            }
        }
        for (size_t r = 0; r < results_.size(); ++r)
            if (std::memcmp(results_[r].get(), results_[r].get() + resultSizes_[r], resultSizes_[r]) != 0)
                ilmvCaseReport()(describe() + ": the results differ");
    }

    // An entry called with invalid arguments: when its rule refuses them the call must report it
    // (status 3, or "Assertion failed @name" in the log) and write nothing; a call the rule
    // accepts must merely stay inside the buffers, which the sanitizers watch.
    template <class Call>
    void expectRefusal(bool refused, bool status, const char* name, Call call)
    {
        if (!refused) {
            call();
            return;
        }
        std::string log;
        void* previousContext = nullptr;
        ILMV_LOG_SINK previous = ilmvHostSetLogSink(
            [](int, const char*, const char* text, void* into) { static_cast<std::string*>(into)->append(text); },
            &log, &previousContext);
        const int64_t result = call();
        ilmvHostSetLogSink(previous, previousContext, nullptr);
        const std::string expected = std::string("Assertion failed @") + name + ": ";
        if (status && result != LUMIVA_BAD_PARAMS)
            ilmvCaseReport()(describe() + ": " + name + " accepted invalid arguments, returning " + std::to_string(result));
        if (!status && log.find(expected) == std::string::npos)
            ilmvCaseReport()(describe() + ": " + name + " refused invalid arguments without its assertion line");
        for (const ilmvBuffer* b : outputs_)
            if (std::memcmp(b->base[0], b->base[1], b->size) != 0)
                ilmvCaseReport()(describe() + ": " + name + " wrote while refusing invalid arguments");
    }

    std::string describe() const
    {
        std::ostringstream s;
        s << width_ << "x" << height_ << " layout " << static_cast<int>(layout_);
        return s.str();
    }

private:
    bool coin() { return rng_() & 1; }

    uint32_t nextIndex()
    {
        if (!feedLeft_) return rng_();
        --feedLeft_;
        return *feed_++;
    }

    bool unaligned() const { return layout_ == Layout::kPaddedUnaligned || layout_ == Layout::kPackedUnaligned; }
    bool padded() const { return layout_ == Layout::kPadded || layout_ == Layout::kPaddedUnaligned; }

    // Images that share a stride parameter get the same stride; padding is sometimes not
    // a whole element, which the kernels round down.
    uint32_t strideFor(const char* name, uint32_t rowBytes, size_t elemSize)
    {
        auto it = strides_.find(name);
        if (it != strides_.end()) return it->second;
        uint32_t stride = rowBytes;
        if (padded()) stride += static_cast<uint32_t>(elemSize * (1 + rng_() % 9) + (rng_() % 3 == 0 ? 1 : 0));
        strides_[name] = stride;
        return stride;
    }

    template <class T>
    ilmvBuffer* allocate(size_t channels, const char* strideName, bool twice, int wdiv, int hdiv, int64_t ownWidth,
                         int64_t ownHeight)
    {
        auto b = std::make_unique<ilmvBuffer>();
        const uint32_t w = ownWidth < 0 ? width_ : uint32_t(ownWidth), h = ownHeight < 0 ? height_ : uint32_t(ownHeight);
        const uint32_t width = (w + wdiv - 1) / wdiv, height = std::max<uint32_t>((h + hdiv - 1) / hdiv, 1);
        const uint32_t rowBytes = static_cast<uint32_t>(width * channels * sizeof(T));
        b->stride = strideFor(strideName, rowBytes, sizeof(T));
        const size_t offset = unaligned() ? sizeof(T) * (1 + rng_() % 3) : 0;
        const size_t stepElems = b->stride / sizeof(T);
        b->size = (height - 1) * stepElems * sizeof(T) + rowBytes;
        for (int form = 0; form < (twice ? 2 : 1); ++form) {
            const ilmvCaseAllocator& memory = ilmvCaseMemory();
            b->storage[form] = std::unique_ptr<uint8_t, ilmvCaseRelease>(
                static_cast<uint8_t*>(memory.allocate(offset + b->size)), {memory.release});
            b->base[form] = b->storage[form].get() + offset;
        }
        buffers_.push_back(std::move(b));
        return buffers_.back().get();
    }

    // Integers take any bit pattern; floats are normal numbers of moderate size, so no
    // form meets a denormal (which the ARM vector unit flushes to zero).
    template <class T>
    void fillRandom(uint8_t* bytes, size_t size, bool sparse)
    {
        if constexpr (std::is_floating_point_v<T>) {
            for (size_t i = 0; i + sizeof(T) <= size; i += sizeof(T)) {
                T v = static_cast<T>(static_cast<int32_t>(rng_() % 200001) - 100000) / 64.0f;
                std::memcpy(bytes + i, &v, sizeof v);
            }
            for (size_t i = size - size % sizeof(T); i < size; ++i) bytes[i] = static_cast<uint8_t>(rng_());
        } else {
            for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(rng_());
            // Masks get runs of zeros so both the kept and the cleared paths run.
            if (sparse)
                for (size_t i = 0; i < size; ++i)
                    if (rng_() % 3 == 0) bytes[i] = 0;
            // Extreme values are where saturation and wrapping differ.
            for (size_t i = 0; i < size / 8; ++i) bytes[rng_() % size] = (rng_() & 1) ? 0xFF : 0x00;
        }
    }

    uint32_t width_, height_;
    Layout layout_;
    std::mt19937 rng_;
    std::map<std::string, uint32_t> strides_;
    std::vector<std::unique_ptr<ilmvBuffer>> buffers_;
    std::vector<ilmvBuffer*> outputs_;
    std::vector<std::unique_ptr<uint8_t, ilmvCaseRelease>> results_;
    std::vector<std::vector<uint8_t>> arrays_;
    std::vector<size_t> resultSizes_;
    ilmvBuffer placeholder_;
    int64_t returned_[2] = {0, 0};
    const uint8_t* feed_ = nullptr;
    size_t feedLeft_ = 0;
};

struct ilmvOpCase {
    const char* name;
    const char* family;
    void (*run)(ilmvCase&);       // the reference form against the SIMD form
    uint32_t minWidth;
    void (*runEntry)(ilmvCase&);  // the public entry against the SIMD form; null without one
    void (*runRemote)(ilmvCase&); // the reference form against the default domain's remote form; null without one
    void (*runBad)(ilmvCase&, int kind);  // the entry with invalid arguments (kinds 0-3); null without an entry
    void (*runGpu)(ilmvCase&);    // the reference form against the G form; null without one
};

inline void PrintTo(const ilmvOpCase& op, std::ostream* os)
{
    *os << op.name;
}

#endif
