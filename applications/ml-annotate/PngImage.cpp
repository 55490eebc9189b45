#include "ml-annotate/PngImage.h"

#include "quillcast-core/Logger.h"

#include <png.h>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.app.PngImage");

} // namespace

bool makePng(const std::vector<std::uint8_t>& in_vPixels, std::size_t in_uiColumns,
             const std::vector<Colour>& in_vPalette, std::string& out_strBytes)
{
    static_assert(sizeof(Colour) == 3);
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(in_uiColumns);
    image.height = static_cast<png_uint_32>(in_vPixels.size() / in_uiColumns);
    image.format = PNG_FORMAT_RGB_COLORMAP;
    image.colormap_entries = static_cast<png_uint_32>(in_vPalette.size());
    png_alloc_size_t uiSize = PNG_IMAGE_PNG_SIZE_MAX(image);
    out_strBytes.resize(uiSize);
    if (png_image_write_to_memory(&image, out_strBytes.data(), &uiSize, 0, in_vPixels.data(), 0,
                                  in_vPalette.data()) == 0)
    {
        QC_ERROR("Cannot draw a picture: " << image.message);
        return false;
    }
    out_strBytes.resize(uiSize);
    return true;
}

} // namespace Vexalor
