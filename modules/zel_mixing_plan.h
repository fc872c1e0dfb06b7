#pragma once

#include <cstddef>
#include <memory>

#include "zel_mixing_kernel.h"
#include "zel_planes.h"

/// How a matrix is best applied, worked out when it is loaded: which kernel, and the weights in the
/// kernel's order or, when the matrix only moves channels, where each output comes from. One thread
/// at a time.
class zel_mixing_plan {
  public:
    /// For matrices of these streams and the kernels of that name. Throws std::bad_alloc.
    zel_mixing_plan(const char* kernel, std::size_t in_channels, std::size_t in_sample_bytes,
                    std::size_t out_channels, std::size_t out_sample_bytes);

    /// Takes over what the matrix, row by output channel, holds now; it must outlive its use here.
    void load(const float* matrix);
    /// Mixes as `zel_mixing_block` defines. Allocates nothing.
    void run(const void* in, void* out, std::size_t frames) const;

  private:
    enum class kind { plain, dense, selection, planes, copy, round_trip };

    /// Bytes of the planes that are gone through at a time: they stay in the first-level cache.
    static constexpr std::size_t kPlaneBytes = std::size_t{8} * 1024;

    bool suits_vectors(const float* matrix) const;
    bool find_sources(const float* matrix);
    kind kind_of(const float* matrix);
    void pack(const float* matrix);
    void fill_index();
    void point_planes();
    void run_planes(const unsigned char* in, unsigned char* out, std::size_t frames) const;

    const zel_selection_kernel* pstSelection;
    const zel_planes_row* pstPlanes;
    zel_mixing_kernel_fn fnPlain;
    zel_mixing_kernel_fn fnDense;
    std::size_t szInChannels;
    std::size_t szOutChannels;
    std::size_t szInBytes;   ///< of a sample
    std::size_t szOutBytes;  ///< of a sample
    kind eKind = kind::plain;
    const float* pf32Matrix = nullptr;
    std::unique_ptr<float[]> pf32Packed;
    std::unique_ptr<std::size_t[]> pszSources;  ///< input channel of each output channel
    std::unique_ptr<unsigned char[]> pu8Planes;
    std::unique_ptr<unsigned char*[]> ppu8In;   ///< each input channel's plane
    std::unique_ptr<unsigned char*[]> ppu8Out;  ///< the plane that each output channel comes from
    zel_mixing_selection stSelection{};
};
