// Image files through the stb headers: PNG and JPEG in, PNG out.
#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STBI_ONLY_PNG
#define STBI_ONLY_JPEG
#include <stb_image.h>
#include <stb_image_write.h>

#include "lumivaTool.h"

#include <cstring>

bool readImage(const std::string& path, ToolImage& image, std::string& error)
{
    int w = 0, h = 0, n = 0;
    unsigned char* data = stbi_load(path.c_str(), &w, &h, &n, 3);
    if (!data) {
        error = "cannot read " + path + ": " + (stbi_failure_reason() ? stbi_failure_reason() : "unknown format");
        return false;
    }
    image.width = uint32_t(w);
    image.height = uint32_t(h);
    image.channels = 3;
    image.pixels.assign(data, data + size_t(w) * h * 3);
    stbi_image_free(data);
    return true;
}

bool writePng(const std::string& path, const ToolImage& image)
{
    return stbi_write_png(path.c_str(), int(image.width), int(image.height), int(image.channels), image.pixels.data(),
                          int(image.width * image.channels)) != 0;
}
