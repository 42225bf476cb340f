// Image analysis and shapes at full frame size beside their OpenCV peers: integral images (sums;
// sums and squares), the histogram, equalisation, mean and deviation, extremes, moments of a grey
// and of a binary frame, and, on frames both sides answer alike, contours, MSER and flood fill.
#include "lumivaBench.h"
#include "lumivaKernels.h"

#ifdef LUMIVA_WITH_OPENCV
#include <opencv2/features2d.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using namespace lmvbench;

struct AnalysisFrames {
    uint32_t w, h;
    std::vector<uint8_t> src, binary, blobs, dst, fillOurs, fillTheirs;
    std::vector<uint32_t> sums, squares, sizes, hierarchy;
    std::vector<int32_t> points;
    std::vector<uint16_t> pixels;
    void *contours = nullptr, *mser = nullptr;
    AnalysisFrames()
        : w(frameSize().width), h(frameSize().height), src(randomFrame<uint8_t>(size_t(w) * h, 41)),
          binary(src.size()), blobs(src.size()), dst(src.size()), fillOurs(src.size()), sums((w + 1) * (h + 1)),
          squares(sums.size()), sizes(1 << 16), hierarchy(4 << 16), points(2 << 22), pixels(2 << 23)
    {
        // Blobs: smooth bands thresholded, so contours are long and regions large.
        for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; ++x) {
                const uint32_t v = (x * 7 / 64 + y * 5 / 48 + (x / 40) * (y / 30)) % 16;
                blobs[size_t(y) * w + x] = uint8_t(v * 16);
                binary[size_t(y) * w + x] = v > 9 ? 255 : 0;
            }
        fillOurs = blobs;
        fillTheirs = blobs;
        lmvFindContoursAllocate(w, 1 << 16, 1 << 22, &contours);
        lmvMserInit(w, h, 5, 60, 14400, 0.25f, 0.0f, 1 << 16, &mser);
    }
#ifdef LUMIVA_WITH_OPENCV
    cv::Mat grey(std::vector<uint8_t>& v) { return cv::Mat(int(h), int(w), CV_8UC1, v.data()); }
#endif
};

void registerAnalysis()
{
    static AnalysisFrames f;
    const uint32_t w = f.w, h = f.h;
    for (const char* form : {"reference", "simd"}) {
        const bool c = form[0] == 'r';
        add("Integral", form, [=] { (c ? lmvIntegrateImageu8_v2C : lmvIntegrateImageu8_v2V)(f.src.data(), w, h, w, f.sums.data(), 0); });
        add("IntegralSquares", form, [=] {
            (c ? lmvIntegratePatchu8C : lmvIntegratePatchu8V)(f.src.data(), w, h, w, 0, 0, w, h, f.sums.data(), f.squares.data(), 4 * (w + 1));
        });
        add("Histogram", form, [=] { (c ? lmvImageIntensityHistogramC : lmvImageIntensityHistogramV)(f.src.data(), w, h, w, f.sizes.data()); });
        add("EqualizeHist", form, [=] { (c ? lmvImageHistogramEqualizeu8C : lmvImageHistogramEqualizeu8V)(f.blobs.data(), w, h, w, f.dst.data(), w); });
        add("MeanStdDev", form, [=] {
            float m, v;
            (c ? lmvImageIntensityStatsC : lmvImageIntensityStatsV)(f.src.data(), w, h, w, 0, 0, w, h, &m, &v);
        });
        add("MinMaxLoc", form, [=] {
            uint8_t lo, hi;
            uint32_t at[4];
            (c ? lmvMinMaxLocu8C : lmvMinMaxLocu8V)(f.src.data(), w, h, w, &lo, &hi, at, at + 1, at + 2, at + 3);
        });
        add("MomentsGrey", form, [=] { float m[10]; (c ? lmvImageMomentsu8C : lmvImageMomentsu8V)(f.src.data(), w, h, w, m); });
        add("MomentsBinary", form, [=] { float m[10]; (c ? lmvImageMomentsu8C : lmvImageMomentsu8V)(f.binary.data(), w, h, w, m); });
    }
    // Contours, MSER and flood fill have reference forms only.
    add("FindContoursTree", "reference", [=] {
        uint32_t n;
        lmvFindContoursTreeu8C(f.binary.data(), w, h, w, &n, f.sizes.data(), f.points.data(), reinterpret_cast<int32_t*>(f.hierarchy.data()), f.contours);
    });
    add("Mser", "reference", [=] {
        uint32_t n;
        lmvMseru8_v2STC(f.mser, f.blobs.data(), w, h, w, &n, f.sizes.data(), f.pixels.data(), uint32_t(f.pixels.size() / 2));
    });
    add("FloodFill", "reference", [=] {
        // Alternating values: every run fills the same region.
        static uint8_t value = 250;
        uint32_t area, rect[4];
        value ^= 1;
        lmvFloodfillSimpleu8C(f.fillOurs.data(), w, h, w, w / 2, h / 2, value, 4, &area, rect);
    });
#ifdef LUMIVA_WITH_OPENCV
    using namespace cv;
    add("Integral", "opencv", [] { Mat s(int(f.h + 1), int(f.w + 1), CV_32S, f.sums.data()); integral(f.grey(f.src), s, CV_32S); });
    add("IntegralSquares", "opencv", [] {
        static Mat sum, sq;
        integral(f.grey(f.src), sum, sq, CV_32S, CV_64F);
    });
    add("Histogram", "opencv", [] {
        static Mat hist;
        const int channels[] = {0}, bins[] = {256};
        const float range[] = {0, 256};
        const float* ranges[] = {range};
        Mat in = f.grey(f.src);
        calcHist(&in, 1, channels, Mat(), hist, 1, bins, ranges);
    });
    add("EqualizeHist", "opencv", [] { Mat o = f.grey(f.dst); equalizeHist(f.grey(f.blobs), o); });
    add("MeanStdDev", "opencv", [] { Scalar m, d; meanStdDev(f.grey(f.src), m, d); });
    add("MinMaxLoc", "opencv", [] {
        double lo, hi;
        Point a, b;
        minMaxLoc(f.grey(f.src), &lo, &hi, &a, &b);
    });
    add("MomentsGrey", "opencv", [] { (void)moments(f.grey(f.src)); });
    add("MomentsBinary", "opencv", [] { (void)moments(f.grey(f.binary)); });
    add("FindContoursTree", "opencv", [] {
        std::vector<std::vector<Point>> c;
        std::vector<Vec4i> hierarchy;
        findContours(f.grey(f.binary), c, hierarchy, RETR_TREE, CHAIN_APPROX_SIMPLE);
    });
    add("Mser", "opencv", [] {
        static Ptr<MSER> detector = MSER::create(5, 60, 14400, 0.25, 0.0);
        std::vector<std::vector<Point>> regions;
        std::vector<Rect> boxes;
        detector->detectRegions(f.grey(f.blobs), regions, boxes);
    });
    add("FloodFill", "opencv", [] {
        static uint8_t value = 250;
        value ^= 1;
        Mat img = f.grey(f.fillTheirs);
        floodFill(img, Point(int(f.w / 2), int(f.h / 2)), Scalar(value), nullptr, Scalar(), Scalar(), 4);
    });
#endif
}

const int kRegistered = registerFamily(registerAnalysis);

}  // namespace
