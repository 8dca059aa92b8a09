// The module kel._kel: handles of points and meshes, and the functions of the C interface on them. What a user sees, with
// its checks of arrays and its texts, is written in Python around this.
#include <kel_c.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Run.h"
#include "fields.h"

namespace {

using Indices = py::array_t<int32_t, py::array::c_style>;

using PointsHandle = std::shared_ptr<const kel_points>;

/// Points of the library.
class Points {
public:
    explicit Points(kel_points* pThePoints) : pPoints(pThePoints, kel_points_free) {}
    /// Points that lie in an array of Python's, which lives as long as they do. The last to use them may be a helper.
    Points(kel_points* pThePoints, py::array array)
        : pPoints(pThePoints, [pArray = array.release()](kel_points* p) {
              kel_points_free(p);
              const py::gil_scoped_acquire acquired;
              pArray.dec_ref();
          }) {}
    const PointsHandle& handle() const { return pPoints; }
    const kel_points* get() const { return pPoints.get(); }

private:
    PointsHandle pPoints;
};

/// Columns of the library.
class Attributes {
public:
    explicit Attributes(kel_attributes* pTheAttributes) : pAttributes(pTheAttributes, kel_attributes_free) {}
    std::shared_ptr<kel_attributes> handle() const { return pAttributes; }
    kel_attributes* get() const { return pAttributes.get(); }

private:
    std::shared_ptr<kel_attributes> pAttributes;
};

struct MeshState {
    explicit MeshState(kel_mesh* pTheMesh) : pMesh(pTheMesh) {}
    /// The last to use the mesh may be a helper, or a thread of Python's: only that has the interpreter's lock, and lets
    /// others go on, since a large mesh takes a while.
    ~MeshState() {
        PyThreadState* const pUnlocked = PyGILState_Check() != 0 ? PyEval_SaveThread() : nullptr;
        kel_mesh_free(pMesh);
        if (pUnlocked != nullptr) PyEval_RestoreThread(pUnlocked);
    }
    MeshState(const MeshState&) = delete;
    MeshState& operator=(const MeshState&) = delete;

    kel_mesh* const pMesh;
    std::atomic<bool> bBusy{false};
    std::atomic<bool> bAbandoned{false};  // the run that uses it was told to stop
};

/// A mesh of the library. At most one run at a time uses it.
class Mesh {
public:
    explicit Mesh(kel_mesh* pMesh) : pState(std::make_shared<MeshState>(pMesh)) {}

    /// The right to use the mesh; it keeps the mesh alive. Waits for a run that was told to stop. Throws kel.Error while
    /// another run uses the mesh.
    class Use {
    public:
        explicit Use(const Mesh& mesh) : pState(mesh.pState) {
            while (pState->bBusy.exchange(true)) {
                if (!pState->bAbandoned) throwError("the mesh is in use by another run");
                if (PyErr_CheckSignals() != 0) throw py::error_already_set();
                const py::gil_scoped_release released;
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
            pState->bAbandoned = false;
        }
        ~Use() { pState->bBusy = false; }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

        kel_mesh* get() const { return pState->pMesh; }
        /// The run that has this right was told to stop.
        void abandon() const { pState->bAbandoned = true; }

    private:
        std::shared_ptr<MeshState> pState;
    };

private:
    std::shared_ptr<MeshState> pState;
};

/// Runs call(pMesh) on a mesh. call: owns all that it uses.
template <typename Call>
void change(const Mesh& mesh, py::object progress, Call call) {
    Run run(std::move(progress));
    auto pUse = std::make_shared<Mesh::Use>(mesh);
    const std::weak_ptr<Mesh::Use> pWatched = pUse;
    try {
        run([call = std::move(call), pUse = std::move(pUse)] { return call(pUse->get()); });
    } catch (...) {
        if (const auto pStillUsed = pWatched.lock()) pStillUsed->abandon();
        throw;
    }
}

/// The object of a handle that a run makes.
template <typename Object, typename Handle>
class Made {
public:
    Handle** out() { return &pHandle; }
    Object take() { return Object(std::exchange(pHandle, nullptr)); }
    Made() = default;
    ~Made() {
        if (pHandle != nullptr) Object dropped(pHandle);
    }
    Made(const Made&) = delete;
    Made& operator=(const Made&) = delete;

private:
    Handle* pHandle = nullptr;
};
using MadePoints = Made<Points, kel_points>;
using MadeMesh = Made<Mesh, kel_mesh>;
using MadeAttributes = Made<Attributes, kel_attributes>;

/// Runs make(&handle), which makes a handle of the library, and returns it as an object. make: owns all that it uses.
template <typename MadeObject, typename Make>
auto made(py::object progress, Make make) {
    Run run(std::move(progress));
    const auto pMade = std::make_shared<MadeObject>();
    run([make = std::move(make), pMade] { return make(pMade->out()); });
    return pMade->take();
}

/// The same for what takes no longer than a copy, without a run.
template <typename MadeObject, typename Make>
auto madeDirectly(const Make& make) {
    MadeObject object;
    callDirectly([&] { return make(object.out()); });
    return object.take();
}

// ---- Arrays -------------------------------------------------------------------------------------------------------------

/// Whether the library can use the numbers of an array where they lie.
bool isPlain(const py::array& array) {
    const bool bAligned = reinterpret_cast<std::uintptr_t>(array.data()) % alignof(double) == 0;
    return array.itemsize() == sizeof(double) && (array.flags() & py::array::c_style) != 0 && bAligned;
}

Points borrowed(const py::array& array) {
    kel_points* pPoints = nullptr;
    const auto numPoints = static_cast<size_t>(array.shape(0));
    const auto* const pData = static_cast<const double*>(array.data());
    callDirectly([&] { return kel_points_borrow(pData, numPoints, &pPoints); });
    return {pPoints, array};
}

/// array: n x 3 numbers in single or double precision, in any layout. Not copied where the layout is the library's own.
Points pointsOf(const py::array& array) {
    if (isPlain(array)) return borrowed(array);
    const kel_number number = array.itemsize() == 4 ? KEL_FLOAT32 : KEL_FLOAT64;
    const void* pData = array.data();
    const auto numPoints = static_cast<size_t>(array.shape(0));
    const py::ssize_t row = array.strides(0), column = array.strides(1);
    return madeDirectly<MadePoints>(
        [&](kel_points** out) { return kel_points_create_strided(pData, number, numPoints, row, column, out); });
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

py::tuple arraysOf(const Mesh& mesh) {
    importNumpy();
    const Mesh::Use use(mesh);
    size_t numVertices = 0, numTriangles = 0;
    callDirectly([&] { return kel_mesh_sizes(use.get(), &numVertices, &numTriangles); });
    py::array_t<double> vertices({numVertices, size_t{3}});
    Indices triangles({numTriangles, size_t{3}});
    double* pVertices = vertices.mutable_data();
    int32_t* pTriangles = triangles.mutable_data();
    callDirectly([&] { return kel_mesh_arrays(use.get(), pVertices, pTriangles); });
    return py::make_tuple(std::move(vertices), std::move(triangles));
}

py::array_t<double> normalsOf(const Mesh& mesh) {
    importNumpy();
    const Mesh::Use use(mesh);
    size_t numVertices = 0;
    callDirectly([&] { return kel_mesh_sizes(use.get(), &numVertices, nullptr); });
    py::array_t<double> normals({numVertices, size_t{3}});
    double* pNormals = normals.mutable_data();
    callDirectly([&] { return kel_mesh_normals(use.get(), pNormals); });
    return normals;
}

Points cornersOf(const Points& vertices, const Indices& triangles) {
    const int32_t* pTriangles = triangles.data();
    const auto numTriangles = static_cast<size_t>(triangles.shape(0));
    return madeDirectly<MadePoints>(
        [&](kel_points** out) { return kel_corners_create(vertices.get(), pTriangles, numTriangles, out); });
}

Mesh restored(const Points& vertices, const Indices& triangles, double side) {
    const int32_t* pTriangles = triangles.data();
    const auto numTriangles = static_cast<size_t>(triangles.shape(0));
    return madeDirectly<MadeMesh>(
        [&](kel_mesh** out) { return kel_mesh_restore(vertices.get(), pTriangles, numTriangles, side, out); });
}

Mesh meshOf(const Points& vertices, const Indices& triangles, bool bJoin) {
    std::vector<int32_t> vTriangles(triangles.data(), triangles.data() + triangles.size());
    return made<MadeMesh>(
        py::none(), [vertices = vertices.handle(), vTriangles = std::move(vTriangles), bJoin](kel_mesh** out) {
            return kel_mesh_create(vertices.get(), vTriangles.data(), vTriangles.size() / 3, bJoin ? 1 : 0, out);
        });
}

Mesh copyOf(const Mesh& mesh) {
    const Mesh::Use use(mesh);
    return madeDirectly<MadeMesh>([&](kel_mesh** out) { return kel_mesh_copy(use.get(), out); });
}

// ---- Columns ------------------------------------------------------------------------------------------------------------

/// The dtype of each kel_type.
constexpr const char* DTYPES[] = {"i1", "u1", "i2", "u2", "i4", "u4", "i8", "u8", "f4", "f8"};

kel_type typeOf(const py::dtype& dtype) {
    for (int i = KEL_TYPE_INT8; i <= KEL_TYPE_FLOAT64; ++i)
        if (dtype.equal(py::dtype(DTYPES[i]))) return static_cast<kel_type>(i);
    throw py::type_error("a column has another dtype");
}

Attributes noColumns() {
    return madeDirectly<MadeAttributes>(kel_attributes_create);
}

/// values: contiguous, of one of DTYPES. missing: None, or as many bytes.
void setColumn(const Attributes& attributes, const std::string& name, const py::array& values,
               const std::optional<py::array_t<unsigned char>>& missing) {
    kel_column column{};
    column.name = name.c_str();
    column.type = typeOf(values.dtype());
    column.rows = static_cast<size_t>(values.size());
    column.values = values.data();
    if (missing) column.missing = missing->data();
    callDirectly([&] { return kel_attributes_set(attributes.get(), &column); });
}

/// For each column its name, its values, and which of them aren't known, or None. They aren't copied: the attributes, which
/// mustn't be changed any more, stay alive for them.
py::list columnsOf(const py::object& attributes) {
    importNumpy();
    const kel_attributes* pAttributes = attributes.cast<const Attributes&>().get();
    py::list columns;
    for (size_t i = 0; i < kel_attributes_count(pAttributes); ++i) {
        kel_column column{};
        callDirectly([&] { return kel_attributes_column(pAttributes, i, &column); });
        const py::array values(py::dtype(DTYPES[column.type]), {column.rows}, {}, column.values, attributes);
        py::object missing = py::none();
        if (column.missing != nullptr) missing = py::array_t<unsigned char>({column.rows}, {}, column.missing, attributes);
        columns.append(py::make_tuple(py::bytes(column.name), values, missing));
    }
    return columns;
}

// ---- Runs ---------------------------------------------------------------------------------------------------------------

/// A mesh with the report of the run that makes it, and the steps of that.
template <typename CReport>
struct Reported {
    MadeMesh mesh;
    CReport report{};
    std::vector<std::pair<std::string, double>> vSteps;
};

/// make(&report, &handle): owns all that it uses.
template <typename CReport, typename Make>
py::tuple madeWithReport(py::object progress, Make make) {
    Run run(std::move(progress));
    const auto pReported = std::make_shared<Reported<CReport>>();
    pReported->report.size = sizeof pReported->report;
    run([make = std::move(make), pReported] {
        const kel_status status = make(&pReported->report, pReported->mesh.out());
        for (size_t i = 0; i < kel_num_steps(); ++i)  // those of the last run of this thread
            pReported->vSteps.emplace_back(kel_step_name(i), kel_step_seconds(i));
        return status;
    });
    py::dict figures = dictOf(pReported->report);
    py::list steps;
    for (const auto& [name, seconds] : pReported->vSteps)
        steps.append(py::make_tuple(name, seconds));
    figures["steps"] = steps;
    return py::make_tuple(pReported->mesh.take(), figures);
}

py::tuple reconstruct(const Points& points, const py::dict& keywords, const py::object& origin, py::object progress) {
    kel_reconstruct_options options = optionsOf(keywords, kel_reconstruct_options_init);
    if (!origin.is_none()) {
        options.has_origin = 1;
        for (size_t i = 0; i < 3; ++i)
            options.origin[i] = origin[py::int_(i)].cast<double>();
    }
    return madeWithReport<kel_reconstruct_report>(std::move(progress),
                                                  [points = points.handle(), options](auto* report, kel_mesh** out) {
                                                      return kel_reconstruct(points.get(), &options, report, out);
                                                  });
}

py::tuple melt(const Points& corners, const py::dict& keywords, py::object progress) {
    const kel_melt_options options = optionsOf(keywords, kel_melt_options_init);
    return madeWithReport<kel_melt_report>(std::move(progress),
                                           [corners = corners.handle(), options](auto* report, kel_mesh** out) {
                                               return kel_melt(corners.get(), &options, report, out);
                                           });
}

Points cloud(const Points& corners, double spacing, double featureAngle, py::object progress) {
    return made<MadePoints>(std::move(progress), [corners = corners.handle(), spacing, featureAngle](kel_points** out) {
        return kel_cloud(corners.get(), spacing, featureAngle, out);
    });
}

double spacingOf(const Points& points, py::object progress) {
    Run run(std::move(progress));
    const auto pSpacing = std::make_shared<double>(0.0);
    run([points = points.handle(), pSpacing] { return kel_spacing(points.get(), pSpacing.get()); });
    return *pSpacing;
}

/// Changes a mesh by function(pMesh, &result), and returns the result. function: owns all that it uses.
template <typename Result, typename Function>
Result changed(const Mesh& mesh, py::object progress, Function function, Result result = {}) {
    const auto pResult = std::make_shared<Result>(result);
    change(mesh, std::move(progress),
           [function = std::move(function), pResult](kel_mesh* p) { return function(p, pResult.get()); });
    return *pResult;
}

/// The same by a function that has options and a report.
template <typename COptions, typename CReport>
auto changeWithReport(void (*init)(COptions*, size_t), kel_status (*function)(kel_mesh*, const COptions*, CReport*)) {
    return [=](const Mesh& mesh, const py::dict& keywords, py::object progress) {
        const COptions options = optionsOf(keywords, init);
        CReport report{};
        report.size = sizeof report;
        return dictOf(changed<CReport>(
            mesh, std::move(progress), [=](kel_mesh* p, CReport* r) { return function(p, &options, r); }, report));
    };
}

/// By a function that counts and takes nothing.
auto counted(kel_status (*function)(kel_mesh*, size_t*)) {
    return [=](const Mesh& mesh, py::object progress) { return changed<size_t>(mesh, std::move(progress), function); };
}

py::dict fitTo(const Mesh& mesh, const Points& points, const py::dict& keywords, py::object progress) {
    const kel_fit_options options = optionsOf(keywords, kel_fit_options_init);
    return dictOf(changed<kel_fit_report>(
        mesh, std::move(progress),
        [points = points.handle(), options](kel_mesh* p, auto* r) { return kel_mesh_fit(p, points.get(), &options, r); }));
}

py::dict makeManifold(const Mesh& mesh, bool bNoCrossings, py::object progress) {
    return dictOf(changed<kel_manifold_report>(mesh, std::move(progress), [=](kel_mesh* p, auto* r) {
        return kel_mesh_make_manifold(p, bNoCrossings ? 1 : 0, r);
    }));
}

int collapse(const Mesh& mesh, double maxEdgeLength, double maxAngle, const py::dict& keywords, py::object progress) {
    const kel_keep_options keep = optionsOf(keywords, kel_keep_options_init);
    return changed<int>(mesh, std::move(progress), [=](kel_mesh* p, int* pNumRemoved) {
        return kel_mesh_collapse(p, maxEdgeLength, maxAngle, &keep, pNumRemoved);
    });
}

int fill(const Mesh& mesh, int maxEdges, const py::dict& keywords, py::object progress) {
    const kel_keep_options keep = optionsOf(keywords, kel_keep_options_init);
    return changed<int>(mesh, std::move(progress),
                        [=](kel_mesh* p, int* pNumClosed) { return kel_mesh_fill(p, maxEdges, &keep, pNumClosed); });
}

void laplacian(const Mesh& mesh, int numRounds, const py::dict& keywords, py::object progress) {
    const kel_keep_options keep = optionsOf(keywords, kel_keep_options_init);
    change(mesh, std::move(progress), [=](kel_mesh* p) { return kel_mesh_laplacian(p, numRounds, &keep); });
}

void flip(const Mesh& mesh, bool bAnnealing, const py::dict& keywords, py::object progress) {
    const kel_keep_options keep = optionsOf(keywords, kel_keep_options_init);
    change(mesh, std::move(progress), [=](kel_mesh* p) { return kel_mesh_flip(p, bAnnealing ? 1 : 0, &keep); });
}

/// Which triangles pass through each other, two numbers a row.
py::array_t<int64_t> crossingsOf(const Mesh& mesh, py::object progress) {
    importNumpy();
    const auto pHeld = std::make_shared<std::unique_ptr<kel_pairs, decltype(&kel_pairs_free)>>(nullptr, kel_pairs_free);
    change(mesh, std::move(progress), [pHeld](kel_mesh* p) {
        kel_pairs* pPairs = nullptr;
        const kel_status status = kel_mesh_list_crossings(p, &pPairs);
        pHeld->reset(pPairs);
        return status;
    });
    const size_t* const pNumbers = kel_pairs_data(pHeld->get());
    py::array_t<int64_t> pairs({kel_pairs_count(pHeld->get()), size_t{2}});
    std::copy(pNumbers, pNumbers + pairs.size(), pairs.mutable_data());
    return pairs;
}

Attributes transfer(const Mesh& mesh, const Points& points, const Attributes& ofPoints, double length, py::object progress) {
    const auto pMade = std::make_shared<MadeAttributes>();
    change(mesh, std::move(progress), [points = points.handle(), ofPoints = ofPoints.handle(), length, pMade](kel_mesh* p) {
        return kel_attributes_transfer(ofPoints.get(), points.get(), p, length, pMade->out());
    });
    return pMade->take();
}

py::dict flawsOf(const Mesh& mesh) {
    return dictOf(changed<kel_mesh_flaws>(mesh, py::none(), kel_mesh_count_flaws));
}

// ---- Files --------------------------------------------------------------------------------------------------------------

Points readCorners(const std::string& filename) {
    return made<MadePoints>(py::none(), [=](kel_points** out) { return kel_corners_read(filename.c_str(), out); });
}

Points readPoints(const std::string& filename, std::vector<int> vClasses) {
    return made<MadePoints>(py::none(), [=, vClasses = std::move(vClasses)](kel_points** out) {
        return kel_points_read_with(filename.c_str(), vClasses.data(), vClasses.size(), out, nullptr, nullptr);
    });
}

/// Points with their columns.
py::tuple readScan(const std::string& filename, std::vector<int> vClasses) {
    Run run{py::none()};
    const auto pMade = std::make_shared<std::pair<MadePoints, MadeAttributes>>();
    run([=, vClasses = std::move(vClasses)] {
        return kel_points_read_with(filename.c_str(), vClasses.data(), vClasses.size(), pMade->first.out(),
                                    pMade->second.out(), nullptr);
    });
    return py::make_tuple(pMade->first.take(), pMade->second.take());
}

Mesh readMesh(const std::string& filename, bool bJoin) {
    return made<MadeMesh>(py::none(), [=](kel_mesh** out) { return kel_mesh_read(filename.c_str(), bJoin ? 1 : 0, out); });
}

// Writers aren't runs: one that was told to stop would still replace the file later.

void writeMesh(const Mesh& mesh, const std::string& filename, const py::dict& keywords, const Attributes* pOfVertices) {
    const kel_write_options options = optionsOf(keywords, kel_write_options_init);
    const kel_attributes* const pColumns = pOfVertices != nullptr ? pOfVertices->get() : nullptr;
    const Mesh::Use use(mesh);
    callDirectly([&] { return kel_mesh_write_with(use.get(), pColumns, filename.c_str(), &options); });
}

void writePoints(const Points& points, const std::string& filename, const Attributes* pOfPoints) {
    const kel_attributes* const pColumns = pOfPoints != nullptr ? pOfPoints->get() : nullptr;
    callDirectly([&] { return kel_points_write_with(points.get(), pColumns, filename.c_str()); });
}

// ---- The library as a whole
// -----------------------------------------------------------------------------------------------

void setNumThreads(int numThreads) {
    refuseInsideRun();
    callDirectly([&] { return kel_set_num_threads(numThreads); });
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

}  // namespace

PYBIND11_MODULE(_kel, m) {
    py::class_<Points>(m, "Points").def(py::init(&pointsOf)).def("array", &arrayOf).def("write", &writePoints);
    py::class_<Attributes>(m, "Attributes").def(py::init(&noColumns)).def("set", &setColumn).def("columns", &columnsOf);
    py::class_<Mesh>(m, "Mesh")
        .def(py::init(&meshOf))
        .def_static("restored", &restored)
        .def("copy", &copyOf)
        .def("arrays", &arraysOf)
        .def("normals", &normalsOf)
        .def("side", [](const Mesh& mesh) { return kel_mesh_side(Mesh::Use(mesh).get()); })
        .def("flaws", &flawsOf)
        .def("count_crossings", counted(kel_mesh_count_crossings))
        .def("crossings", &crossingsOf)
        .def("transfer", &transfer)
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
    m.def("read_points", &readPoints);
    m.def("read_scan", &readScan);
    m.def("read_corners", &readCorners);
    m.def("read_mesh", &readMesh);
    m.def("set_num_threads", &setNumThreads);
    m.def("version", [] { return KEL_VERSION; });
    m.def("defaults", &defaults);
    py::module_::import("atexit").attr("register")(py::cpp_function(joinAbandoned));
}
