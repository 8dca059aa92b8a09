// The module kel._kel: handles of points and meshes, and the functions of the C interface on them. What a user sees, with
// its checks of arrays and its texts, is written in Python around this.
#include <kel_c.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <memory>
#include <string>
#include <utility>

#include "Run.h"
#include "fields.h"

namespace {

using Indices = py::array_t<int32_t, py::array::c_style>;

/// Points of the library.
class Points {
public:
    explicit Points(kel_points* pThePoints) : pPoints(pThePoints, kel_points_free) {}
    const kel_points* get() const { return pPoints.get(); }

private:
    std::unique_ptr<kel_points, decltype(&kel_points_free)> pPoints;
};

/// A mesh of the library. All of this happens under the interpreter's lock, so a plain flag tells whether a run on some
/// thread, which has given up the lock, is at work on it.
class Mesh {
public:
    explicit Mesh(kel_mesh* pTheMesh) : pMesh(pTheMesh, kel_mesh_free) {}

    /// The right to use the mesh, until it is destroyed. Throws kel.Error while another use has it.
    class Use {
    public:
        explicit Use(Mesh& theMesh) : mesh(theMesh) {
            if (mesh.bBusy) throwError("the mesh is in use by another run");
            mesh.bBusy = true;
        }
        ~Use() { mesh.bBusy = false; }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;
        kel_mesh* get() const { return mesh.pMesh.get(); }

    private:
        Mesh& mesh;
    };

private:
    std::unique_ptr<kel_mesh, decltype(&kel_mesh_free)> pMesh;
    bool bBusy = false;
};

/// Runs call(pMesh) on a mesh, without the interpreter's lock.
template <typename Call>
void change(Mesh& mesh, py::object progress, const Call& call) {
    const Mesh::Use use(mesh);
    Run run(std::move(progress));
    run([&] { return call(use.get()); });
}

/// Runs make(&handle), which makes a handle of the library, and returns it as an object.
template <typename Object, typename Handle, typename Make>
Object made(py::object progress, const Make& make) {
    Run run(std::move(progress));
    Handle* pHandle = nullptr;
    try {
        run([&] { return make(&pHandle); });
    } catch (...) {  // a warning may have become an exception when all was done
        const Object dropped(pHandle);
        throw;
    }
    return Object(pHandle);
}

// ---- Arrays -------------------------------------------------------------------------------------------------------------

/// array: n x 3 numbers in single or double precision, in any layout.
Points pointsOf(const py::array& array) {
    const kel_number number = array.itemsize() == 4 ? KEL_FLOAT32 : KEL_FLOAT64;
    const void* pData = array.data();
    const auto numPoints = static_cast<size_t>(array.shape(0));
    const py::ssize_t row = array.strides(0), column = array.strides(1);
    return made<Points, kel_points>(
        py::none(), [&](kel_points** out) { return kel_points_create_strided(pData, number, numPoints, row, column, out); });
}

/// To be called before the first array is made here. pybind11 looks NumPy up while it holds a lock of its own; if that
/// imported NumPy, which lets other threads run, two threads would wait for each other. Arrays that callers pass need no
/// call.
void importNumpy() {
    py::module_::import("numpy");
}

/// The points without a copy: the array keeps them alive.
py::array arrayOf(const py::object& points) {
    importNumpy();
    const kel_points* pPoints = points.cast<const Points&>().get();
    return py::array_t<double>({kel_points_count(pPoints), size_t{3}}, kel_points_data(pPoints), points);
}

py::tuple arraysOf(Mesh& mesh) {
    importNumpy();
    const Mesh::Use use(mesh);
    Run run{py::none()};
    size_t numVertices = 0, numTriangles = 0;
    run([&] { return kel_mesh_sizes(use.get(), &numVertices, &numTriangles); });
    py::array_t<double> vertices({numVertices, size_t{3}});
    Indices triangles({numTriangles, size_t{3}});
    double* pVertices = vertices.mutable_data();
    int32_t* pTriangles = triangles.mutable_data();
    run([&] { return kel_mesh_arrays(use.get(), pVertices, pTriangles); });
    return py::make_tuple(std::move(vertices), std::move(triangles));
}

// ---- Functions ----------------------------------------------------------------------------------------------------------

py::list lastSteps() {
    py::list steps;
    for (size_t i = 0; i < kel_num_steps(); ++i)
        steps.append(py::make_tuple(kel_step_name(i), kel_step_seconds(i)));
    return steps;
}

/// A mesh, and what the run reports.
template <typename CReport, typename Make>
py::tuple madeWithReport(py::object progress, const Make& make) {
    CReport report{};
    report.size = sizeof report;
    py::object mesh =
        py::cast(made<Mesh, kel_mesh>(std::move(progress), [&](kel_mesh** out) { return make(&report, out); }));
    py::dict figures = dictOf(report);
    figures["steps"] = lastSteps();
    return py::make_tuple(std::move(mesh), std::move(figures));
}

py::tuple reconstruct(const Points& points, const py::dict& keywords, const py::object& origin, py::object progress) {
    kel_reconstruct_options options = optionsOf(keywords, kel_reconstruct_options_init);
    if (!origin.is_none()) {
        options.has_origin = 1;
        for (size_t i = 0; i < 3; ++i)
            options.origin[i] = origin[py::int_(i)].cast<double>();
    }
    return madeWithReport<kel_reconstruct_report>(std::move(progress), [&](auto* report, kel_mesh** out) {
        return kel_reconstruct(points.get(), &options, report, out);
    });
}

py::tuple melt(const Points& corners, const py::dict& keywords, py::object progress) {
    const kel_melt_options options = optionsOf(keywords, kel_melt_options_init);
    return madeWithReport<kel_melt_report>(
        std::move(progress), [&](auto* report, kel_mesh** out) { return kel_melt(corners.get(), &options, report, out); });
}

Points cloud(const Points& corners, double spacing, double featureAngle, py::object progress) {
    return made<Points, kel_points>(std::move(progress),
                                    [&](kel_points** out) { return kel_cloud(corners.get(), spacing, featureAngle, out); });
}

double spacingOf(const Points& points, py::object progress) {
    Run run(std::move(progress));
    double spacing = 0.0;
    run([&] { return kel_spacing(points.get(), &spacing); });
    return spacing;
}

Points cornersOf(const Points& vertices, const Indices& triangles) {
    const int32_t* pTriangles = triangles.data();
    const auto numTriangles = static_cast<size_t>(triangles.shape(0));
    return made<Points, kel_points>(
        py::none(), [&](kel_points** out) { return kel_corners_create(vertices.get(), pTriangles, numTriangles, out); });
}

Mesh meshOf(const Points& vertices, const Indices& triangles, bool bJoin) {
    const int32_t* pTriangles = triangles.data();
    const auto numTriangles = static_cast<size_t>(triangles.shape(0));
    return made<Mesh, kel_mesh>(py::none(), [&](kel_mesh** out) {
        return kel_mesh_create(vertices.get(), pTriangles, numTriangles, bJoin ? 1 : 0, out);
    });
}

Mesh restored(const Points& vertices, const Indices& triangles, double side) {
    const int32_t* pTriangles = triangles.data();
    const auto numTriangles = static_cast<size_t>(triangles.shape(0));
    return made<Mesh, kel_mesh>(
        py::none(), [&](kel_mesh** out) { return kel_mesh_restore(vertices.get(), pTriangles, numTriangles, side, out); });
}

Mesh copyOf(Mesh& mesh) {
    const Mesh::Use use(mesh);
    return made<Mesh, kel_mesh>(py::none(), [&](kel_mesh** out) { return kel_mesh_copy(use.get(), out); });
}

template <typename Read>
Points readPoints(const std::string& filename, const Read& read) {
    return made<Points, kel_points>(py::none(), [&](kel_points** out) { return read(filename.c_str(), out); });
}

py::dict flawsOf(Mesh& mesh) {
    kel_mesh_flaws flaws{};
    change(mesh, py::none(), [&](kel_mesh* p) { return kel_mesh_count_flaws(p, &flaws); });
    return dictOf(flaws);
}

/// Changes a mesh by a function that has options and a report.
template <typename COptions, typename CReport>
auto changeWithReport(void (*init)(COptions*, size_t), kel_status (*function)(kel_mesh*, const COptions*, CReport*)) {
    return [=](Mesh& mesh, const py::dict& keywords, py::object progress) {
        const COptions options = optionsOf(keywords, init);
        CReport report{};
        report.size = sizeof report;
        change(mesh, std::move(progress), [&](kel_mesh* p) { return function(p, &options, &report); });
        return dictOf(report);
    };
}

py::dict fitTo(Mesh& mesh, const Points& points, const py::dict& keywords, py::object progress) {
    const kel_fit_options options = optionsOf(keywords, kel_fit_options_init);
    kel_fit_report report{};
    change(mesh, std::move(progress), [&](kel_mesh* p) { return kel_mesh_fit(p, points.get(), &options, &report); });
    return dictOf(report);
}

py::dict makeManifold(Mesh& mesh, bool bNoCrossings, py::object progress) {
    kel_manifold_report report{};
    change(mesh, std::move(progress), [&](kel_mesh* p) { return kel_mesh_make_manifold(p, bNoCrossings ? 1 : 0, &report); });
    return dictOf(report);
}

int collapse(Mesh& mesh, double maxEdgeLength, double maxAngle, const py::dict& keywords, py::object progress) {
    const kel_keep_options keep = optionsOf(keywords, kel_keep_options_init);
    int numRemoved = 0;
    change(mesh, std::move(progress),
           [&](kel_mesh* p) { return kel_mesh_collapse(p, maxEdgeLength, maxAngle, &keep, &numRemoved); });
    return numRemoved;
}

void laplacian(Mesh& mesh, int numRounds, const py::dict& keywords, py::object progress) {
    const kel_keep_options keep = optionsOf(keywords, kel_keep_options_init);
    change(mesh, std::move(progress), [&](kel_mesh* p) { return kel_mesh_laplacian(p, numRounds, &keep); });
}

void flip(Mesh& mesh, bool bAnnealing, const py::dict& keywords, py::object progress) {
    const kel_keep_options keep = optionsOf(keywords, kel_keep_options_init);
    change(mesh, std::move(progress), [&](kel_mesh* p) { return kel_mesh_flip(p, bAnnealing ? 1 : 0, &keep); });
}

int fill(Mesh& mesh, int maxEdges, const py::dict& keywords, py::object progress) {
    const kel_keep_options keep = optionsOf(keywords, kel_keep_options_init);
    int numClosed = 0;
    change(mesh, std::move(progress), [&](kel_mesh* p) { return kel_mesh_fill(p, maxEdges, &keep, &numClosed); });
    return numClosed;
}

/// By a function that counts and takes nothing.
auto counted(kel_status (*function)(kel_mesh*, size_t*)) {
    return [=](Mesh& mesh, py::object progress) {
        size_t number = 0;
        change(mesh, std::move(progress), [&](kel_mesh* p) { return function(p, &number); });
        return number;
    };
}

void writeMesh(Mesh& mesh, const std::string& filename, const py::dict& keywords) {
    const kel_write_options options = optionsOf(keywords, kel_write_options_init);
    change(mesh, py::none(), [&](kel_mesh* p) { return kel_mesh_write(p, filename.c_str(), &options); });
}

void writePoints(const Points& points, const std::string& filename) {
    Run run{py::none()};
    run([&] { return kel_points_write(points.get(), filename.c_str()); });
}

template <typename COptions>
py::dict defaultsOf(void (*init)(COptions*, size_t)) {
    COptions options;
    init(&options, sizeof options);
    return dictOf(options);
}

/// What the library does when nothing is asked for, by the names of the functions.
py::dict defaults() {
    py::dict all;
    all["reconstruct"] = defaultsOf(kel_reconstruct_options_init);
    all["melt"] = defaultsOf(kel_melt_options_init);
    all["keep"] = defaultsOf(kel_keep_options_init);
    all["fit"] = defaultsOf(kel_fit_options_init);
    all["reduce"] = defaultsOf(kel_reduce_options_init);
    all["smooth"] = defaultsOf(kel_smooth_options_init);
    all["write"] = defaultsOf(kel_write_options_init);
    return all;
}

py::tuple version() {
    int major = 0, minor = 0;
    kel_version(&major, &minor);
    return py::make_tuple(major, minor);
}

}  // namespace

PYBIND11_MODULE(_kel, m) {
    py::class_<Points>(m, "Points").def(py::init(&pointsOf)).def("array", &arrayOf).def("write", &writePoints);
    py::class_<Mesh>(m, "Mesh")
        .def(py::init(&meshOf))
        .def_static("restored", &restored)
        .def("copy", &copyOf)
        .def("arrays", &arraysOf)
        .def("side", [](Mesh& mesh) { return kel_mesh_side(Mesh::Use(mesh).get()); })
        .def("flaws", &flawsOf)
        .def("count_crossings", counted(kel_mesh_count_crossings))
        .def("remove_crossings", counted(kel_mesh_remove_crossings))
        .def("make_manifold", &makeManifold)
        .def("fit", &fitTo)
        .def("reduce", changeWithReport(kel_reduce_options_init, kel_mesh_reduce))
        .def("smooth", changeWithReport(kel_smooth_options_init, kel_mesh_smooth))
        .def("collapse", &collapse)
        .def("laplacian", &laplacian)
        .def("flip", &flip)
        .def("fill", &fill)
        .def("write", &writeMesh);
    m.def("reconstruct", &reconstruct);
    m.def("melt", &melt);
    m.def("cloud", &cloud);
    m.def("spacing", &spacingOf);
    m.def("corners", &cornersOf);
    m.def("read_points", [](const std::string& filename) { return readPoints(filename, kel_points_read); });
    m.def("read_corners", [](const std::string& filename) { return readPoints(filename, kel_corners_read); });
    m.def("read_mesh", [](const std::string& filename, bool bJoin) {
        return made<Mesh, kel_mesh>(py::none(),
                                    [&](kel_mesh** out) { return kel_mesh_read(filename.c_str(), bJoin ? 1 : 0, out); });
    });
    m.def("set_num_threads", kel_set_num_threads);
    m.def("version", &version);
    m.def("defaults", &defaults);
}
