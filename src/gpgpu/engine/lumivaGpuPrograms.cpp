// The kernel programs of the GPU system: where each entry's program comes from (a file in
// the kernel directory, else the OpenCL C the library carries), the option text of its
// mask, and the cache of built binaries that makes every creation after the first cheap.
//
// The cache key is the device, the driver version, the option text and a hash of the
// source, so a driver update or a changed kernel never meets an old binary. Binaries are
// kept in memory for the process and in the cache directory across processes; a binary the
// driver refuses is rebuilt from source and replaced.
#include "gpgpu/engine/lumivaGpu.h"
#include "platform/lumivaPlatform.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#ifndef LUMIVA_GPU_KERNEL_DIR
#define LUMIVA_GPU_KERNEL_DIR "/system/vendor/kernel/"
#endif
#ifndef LUMIVA_GPU_CACHE_DIR
#define LUMIVA_GPU_CACHE_DIR ""
#endif

namespace {

const char kPath[] = "src/gpgpu/engine/vskGpuInitialization";

const char* const kOptions[10] = {" -cl-fast-relaxed-math",
                                  " -cl-fast-relaxed-math -D USETEXTURE",
                                  " -cl-single-precision-constant",
                                  " -cl-denorms-are-zero",
                                  " -cl-opt-disable",
                                  " -cl-strict-aliasing",
                                  " -cl-mad-enable",
                                  " -cl-no-signed-zeros",
                                  " -cl-unsafe-math-optimizations",
                                  " -cl-finite-math-only"};

std::string gKernelDir = LUMIVA_GPU_KERNEL_DIR;
std::string gCacheDir = LUMIVA_GPU_CACHE_DIR;
std::mutex gBinariesLock;
std::map<std::string, std::vector<unsigned char>> gBinaries;  // key -> device binary
int gOverrideIndex = -1;
const char* gOverrideSource = nullptr;

uint64_t fnv1a(const std::string& text)
{
    uint64_t h = 1469598103934665603ull;
    for (unsigned char c : text) h = (h ^ c) * 1099511628211ull;
    return h;
}

// Where built binaries go for one creation: the device's identity (name and driver
// version, read once) and the cache directory when it is usable ("" otherwise).
struct BinaryCache {
    std::string device;
    std::string dir;
};

std::string cacheKey(const BinaryCache& cache, const char* options, const ILMV_GPU_KERNEL_RECORD& r)
{
    const std::string text = cache.device + options + "\n" + std::string(reinterpret_cast<const char*>(r.data), r.length);
    char key[17];
    std::snprintf(key, sizeof key, "%016llx", static_cast<unsigned long long>(fnv1a(text)));
    return key;
}

// The cache directory must be the user's own and closed to others: a binary planted by
// someone else would run as this process's code.
bool cacheDirUsable()
{
    if (gCacheDir.empty()) return false;
    mkdir(gCacheDir.c_str(), 0700);
    struct stat st;
    return stat(gCacheDir.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && st.st_uid == geteuid() &&
           (st.st_mode & 077) == 0;
}

// Written under a temporary name and renamed, so a reader never sees half a binary.
void writeFile(const std::string& path, const std::vector<unsigned char>& data)
{
    const std::string temporary = path + ".tmp" + std::to_string(getpid());
    int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) return;
    const bool written = write(fd, data.data(), data.size()) == static_cast<ssize_t>(data.size());
    close(fd);
    if (!written || rename(temporary.c_str(), path.c_str()) != 0) unlink(temporary.c_str());
}

// The binary kept for `key`: from memory, else from the directory (and then kept in memory).
std::vector<unsigned char> cachedBinary(const BinaryCache& cache, const std::string& key)
{
    std::lock_guard<std::mutex> lock(gBinariesLock);
    auto found = gBinaries.find(key);
    if (found != gBinaries.end()) return found->second;
    if (cache.dir.empty()) return {};
    size_t length = 0;
    char* data = ilmvReadWholeFile((cache.dir + "/" + key + ".bin").c_str(), &length);
    if (!data) return {};
    std::vector<unsigned char> binary(data, data + length);
    std::free(data);
    if (!binary.empty()) gBinaries[key] = binary;
    return binary;
}

void forgetBinary(const std::string& key)
{
    std::lock_guard<std::mutex> lock(gBinariesLock);
    gBinaries.erase(key);
}

void keepBinary(const ILMV_CL& cl, cl_program program, const BinaryCache& cache, const std::string& key)
{
    size_t size = 0;
    if (cl.clGetProgramInfo(program, CL_PROGRAM_BINARY_SIZES, sizeof size, &size, nullptr) != CL_SUCCESS || !size)
        return;
    std::vector<unsigned char> binary(size);
    unsigned char* pointer = binary.data();
    if (cl.clGetProgramInfo(program, CL_PROGRAM_BINARIES, sizeof pointer, &pointer, nullptr) != CL_SUCCESS) return;
    if (!cache.dir.empty()) writeFile(cache.dir + "/" + key + ".bin", binary);
    std::lock_guard<std::mutex> lock(gBinariesLock);
    gBinaries[key] = std::move(binary);
}

void reportBuildFailure(const ILMV_CL& cl, cl_program program, cl_device_id device, cl_int code, const char* name)
{
    char message[1100];
    std::snprintf(message, sizeof message, "Return code %d in creating kernel %s:", static_cast<int>(code), name);
    vskGpuError(code, "ilmvGpuBuildPrograms", message, kPath, __LINE__);
    size_t size = 0;
    if (!program || cl.clGetProgramBuildInfo(program, device, CL_PROGRAM_BUILD_LOG, 0, nullptr, &size) != CL_SUCCESS)
        return;
    std::string text(size + 1, '\0');
    if (cl.clGetProgramBuildInfo(program, device, CL_PROGRAM_BUILD_LOG, size, &text[0], nullptr) == CL_SUCCESS)
        ilmvLog(LUMIVA_LOG_ERROR, LUMIVA_LIB_TAG, "%s\n", text.c_str());
}

cl_program fromBinary(const ILMV_CL& cl, ILMV_GPU_SYSTEM& s, const unsigned char* data, size_t length, cl_int* code)
{
    cl_int status = CL_SUCCESS;
    cl_program program = cl.clCreateProgramWithBinary(s.context, 1, s.devices, &length, &data, &status, code);
    if (program && (*code != CL_SUCCESS || status != CL_SUCCESS)) {
        cl.clReleaseProgram(program);
        program = nullptr;
    }
    if (!program && *code == CL_SUCCESS) *code = status != CL_SUCCESS ? status : CL_INVALID_BINARY;
    return program;
}

cl_program fromSource(const ILMV_CL& cl, ILMV_GPU_SYSTEM& s, const ILMV_GPU_KERNEL_RECORD& r, cl_int* code)
{
    const char* text = reinterpret_cast<const char*>(r.data);
    const size_t length = r.length;
    return cl.clCreateProgramWithSource(s.context, 1, &text, &length, code);
}

// Builds `program`; returns the code, a failure reported with the build log when asked.
cl_int build(const ILMV_CL& cl, ILMV_GPU_SYSTEM& s, cl_program program, const char* options, const char* name,
             bool report)
{
    cl_int code = cl.clBuildProgram(program, 1, s.devices, options, nullptr, nullptr);
    if (code != CL_SUCCESS && report) reportBuildFailure(cl, program, s.devices[0], code, name);
    return code;
}

// One entry's program: a cached binary for its source when there is one that still builds,
// else compiled from the source (and cached); a device binary from a file as it is.
cl_program programFor(const ILMV_CL& cl, ILMV_GPU_SYSTEM& s, const BinaryCache& cache, const ILMV_GPU_KERNEL_RECORD& r,
                      cl_int* code)
{
    char options[512];
    ilmvGpuOptionText(r.mask, options, sizeof options);
    cl_program program = nullptr;
    if (r.binary) {
        program = fromBinary(cl, s, r.data, r.length, code);
        if (program && (*code = build(cl, s, program, options, r.name, true)) != CL_SUCCESS) {
            cl.clReleaseProgram(program);
            return nullptr;
        }
        if (!program) reportBuildFailure(cl, nullptr, s.devices[0], *code, r.name);
        return program;
    }
    const std::string key = cacheKey(cache, options, r);
    const std::vector<unsigned char> cached = cachedBinary(cache, key);
    if (!cached.empty()) {
        cl_int cachedCode = CL_SUCCESS;
        program = fromBinary(cl, s, cached.data(), cached.size(), &cachedCode);
        if (program && build(cl, s, program, options, r.name, false) == CL_SUCCESS) {
            ++ilmvGpuStats().programsFromCache;
            return program;
        }
        if (program) cl.clReleaseProgram(program);
        forgetBinary(key);
        ++ilmvGpuStats().rebuiltStale;
        vskGpuMessage("Retry building programs ...", kPath, __LINE__);
    }
    program = fromSource(cl, s, r, code);
    if (!program) {
        reportBuildFailure(cl, nullptr, s.devices[0], *code, r.name);
        return nullptr;
    }
    if ((*code = build(cl, s, program, options, r.name, true)) != CL_SUCCESS) {
        cl.clReleaseProgram(program);
        return nullptr;
    }
    if (!cached.empty()) vskGpuMessage("Retry building programs ... OK\n", kPath, __LINE__);
    ++ilmvGpuStats().programsCompiled;
    keepBinary(cl, program, cache, key);
    return program;
}

// The entry's record: the name, the mask, and the program data from a file of the kernel
// directory (a device binary first, then OpenCL C) or else the library's own source.
void fillRecord(int index, ILMV_GPU_KERNEL_RECORD& r)
{
    const ILMV_GPU_KERNEL_SOURCE& e = ilmvGpuKernelSources[index];
    std::memset(&r, 0, sizeof r);
    if (!e.name) return;
    std::snprintf(r.name, sizeof r.name, "%s", e.name);
    r.mask = e.mask;
    for (int binary = 1; binary >= 0; --binary) {
        _gpuLoadKernelFile(&r, binary, e.name);
        if (r.data) {
            r.binary = binary != 0;
            r.ownsData = true;
            ++ilmvGpuStats().programsFromFiles;
            return;
        }
    }
    const char* source = index == gOverrideIndex ? gOverrideSource : e.source;
    r.data = reinterpret_cast<const unsigned char*>(source);
    r.length = source ? std::strlen(source) : 0;
}

}  // namespace

std::string ilmvGpuDeviceText(const ILMV_CL& cl, cl_device_id device, cl_device_info what)
{
    return ilmvClText([&](size_t size, void* value, size_t* returned) {
        return cl.clGetDeviceInfo(device, what, size, value, returned);
    });
}

size_t ilmvGpuOptionText(uint32_t mask, char* text, size_t capacity)
{
    if (capacity) text[0] = '\0';
    size_t length = 0;
    for (int bit = 0; bit < 10; ++bit) {
        if (!(mask & (1u << bit))) continue;
        const size_t piece = std::strlen(kOptions[bit]);
        if (length + piece < capacity) std::memcpy(text + length, kOptions[bit], piece + 1);
        length += piece;
    }
    return length ? length + 1 : 0;
}

void ilmvGpuSetCacheDirectory(const char* directory)
{
    gCacheDir = directory ? directory : LUMIVA_GPU_CACHE_DIR;
}

void ilmvGpuSetKernelDirectory(const char* directory)
{
    gKernelDir = directory ? directory : LUMIVA_GPU_KERNEL_DIR;
}

void ilmvGpuOverrideEntry(int index, const char* source)
{
    gOverrideIndex = index;
    gOverrideSource = source;
}

void ilmvGpuForgetBinaries()
{
    std::lock_guard<std::mutex> lock(gBinariesLock);
    gBinaries.clear();
}

void ilmvGpuReleasePrograms(ILMV_GPU_SYSTEM& s)
{
    const ILMV_CL* cl = ilmvCl();
    if (!s.programs || !cl) return;
    for (int i = 0; i < ILMV_GPU_KERNELS; ++i)
        if (s.programs[i]) cl->clReleaseProgram(s.programs[i]);
    std::memset(s.programs, 0, sizeof(cl_program) * ILMV_GPU_KERNELS);
}

int ilmvGpuBuildPrograms(ILMV_GPU_SYSTEM& s)
{
    const ILMV_CL& cl = *ilmvCl();
    s.programs = static_cast<cl_program*>(std::calloc(ILMV_GPU_KERNELS * s.deviceCount, sizeof(cl_program)));
    if (!s.programs)
        return vskGpuError(ILMV_GPU_NO_MEMORY, __func__, "Failed to allocate memory to create program.", kPath, __LINE__),
               ILMV_GPU_NO_MEMORY;
    s.kernels = static_cast<cl_kernel*>(std::calloc(ILMV_GPU_KERNELS * s.deviceCount, sizeof(cl_kernel)));
    if (!s.kernels)
        return vskGpuError(ILMV_GPU_NO_MEMORY, __func__, "Failed to allocate memory to create kernel.", kPath, __LINE__),
               ILMV_GPU_NO_MEMORY;
    for (int i = 0; i < ILMV_GPU_KERNELS; ++i) fillRecord(i, s.table[i]);
    const BinaryCache cache = {ilmvGpuDeviceText(cl, s.devices[0], CL_DEVICE_NAME) + "\n" +
                                   ilmvGpuDeviceText(cl, s.devices[0], CL_DRIVER_VERSION) + "\n",
                               cacheDirUsable() ? gCacheDir : std::string()};
    // A failing entry releases every program made so far.
    for (int i = 0; i < ILMV_GPU_KERNELS; ++i) {
        ILMV_GPU_KERNEL_RECORD& r = s.table[i];
        if (!r.data || r.length == 0) {
            ilmvGpuReleasePrograms(s);
            char message[1100];
            std::snprintf(message, sizeof message, "Error in create kernel with empty content: %d %s", i, r.name);
            vskGpuError(ILMV_GPU_BAD_ARGUMENT, __func__, message, kPath, __LINE__);
            return ILMV_GPU_BAD_ARGUMENT;
        }
        cl_int code = CL_SUCCESS;
        s.programs[i] = programFor(cl, s, cache, r, &code);
        if (!s.programs[i]) {
            ilmvGpuReleasePrograms(s);
            vskGpuMessage("Programs not created for device 0", kPath, __LINE__);
            return code != CL_SUCCESS ? code : CL_BUILD_PROGRAM_FAILURE;
        }
    }
    return CL_SUCCESS;
}

extern "C" {

LMV_EXPORT void _gpuLoadKernelFile(ILMV_GPU_KERNEL_RECORD* record, int binary, const char* name)
{
    if (!record) return;
    record->data = nullptr;
    record->length = 0;
    if (gKernelDir.empty() || !name) return;
    // The path is built in 1,024 bytes and cut short there, as a name never needs more.
    char path[1024];
    std::snprintf(path, sizeof path, "%s%s%s", gKernelDir.c_str(), name, binary ? ".o" : ".cl");
    size_t length = 0;
    char* data = ilmvReadWholeFile(path, &length);
    if (!data || length == 0) {
        std::free(data);
        return;
    }
    record->data = reinterpret_cast<unsigned char*>(data);
    record->length = length;
}

}  // extern "C"
