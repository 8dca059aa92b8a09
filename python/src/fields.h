// The options and figures of the C interface by their names, as Python sees them: keywords become options, reports become
// dictionaries. forEachField() names each field once, and with it what kind of value it takes.
#pragma once

#include <kel_c.h>
#include <pybind11/pybind11.h>

#include <string>

namespace py = pybind11;

// ---- The fields ---------------------------------------------------------------------------------------------------------

template <typename Visit>
void forEachField(kel_reconstruct_options& o, Visit& visit) {
    visit.number("spacing", o.spacing);
    visit.number("factor", o.factor);
    visit.flag("outliers", o.outliers);
    visit.flag("even", o.even);
    visit.flag("laplacian", o.laplacian);
    visit.count("grow", o.grow);
    visit.flag("careful_growth", o.careful_growth);
    visit.flag("manifold", o.manifold);
    visit.number("min_piece_area", o.min_piece_area);
    visit.count("max_pinhole_edges", o.max_pinhole_edges);
    visit.count("max_hole_edges", o.max_hole_edges);
    visit.flag("no_crossings", o.no_crossings);
    visit.flag("fit", o.fit);
    visit.flag("denoise", o.denoise);
    visit.count("threads", o.threads);
}

template <typename Visit>
void forEachField(kel_melt_options& o, Visit& visit) {
    visit.number("spacing", o.spacing);
    visit.number("feature_angle", o.feature_angle);
    visit.flag("complete", o.complete);
    visit.flag("manifold", o.manifold);
    visit.count("max_pinhole_edges", o.max_pinhole_edges);
    visit.count("max_hole_edges", o.max_hole_edges);
    visit.count("threads", o.threads);
}

template <typename Visit>
void forEachField(kel_keep_options& o, Visit& visit) {
    visit.flag("manifold", o.manifold);
    visit.flag("no_crossings", o.no_crossings);
}

template <typename Visit>
void forEachField(kel_fit_options& o, Visit& visit) {
    visit.number("cell_edge", o.cell_edge);
    visit.flag("noise", o.noise);
    visit.flag("no_crossings", o.no_crossings);
}

template <typename Visit>
void forEachField(kel_reduce_options& o, Visit& visit) {
    visit.count("triangles", o.triangles);
    visit.number("max_distance", o.max_distance);
    visit.flag("move_vertices", o.move_vertices);
    visit.flag("keep_borders", o.keep_borders);
    visit.flag("keep_features", o.keep_features);
    visit.number("feature_angle", o.feature_angle);
    visit.flag("no_crossings", o.no_crossings);
    visit.flag("fit", o.fit);
}

template <typename Visit>
void forEachField(kel_smooth_options& o, Visit& visit) {
    visit.count("method", o.method);
    visit.count("rounds", o.rounds);
    visit.flag("keep_borders", o.keep_borders);
    visit.number("pass_band", o.pass_band);
    visit.number("edge_angle", o.edge_angle);
    visit.flag("no_crossings", o.no_crossings);
}

template <typename Visit>
void forEachField(kel_write_options& o, Visit& visit) {
    visit.flag("ascii", o.ascii);
    visit.count("precision", o.precision);
    visit.flag("normals", o.normals);
    visit.flag("stl_binary", o.stl_binary);
}

template <typename Visit>
void forEachField(kel_mesh_flaws& r, Visit& visit) {
    visit.count("border_edges", r.border_edges);
    visit.count("non_manifold_edges", r.non_manifold_edges);
    visit.count("pinched_vertices", r.pinched_vertices);
    visit.count("conflicts", r.conflicts);
}

template <typename Visit>
void forEachField(kel_manifold_report& r, Visit& visit) {
    visit.count("flat", r.flat);
    visit.count("duplicates", r.duplicates);
    visit.count("membranes", r.membranes);
    visit.count("splinters", r.splinters);
    visit.count("turned", r.turned);
    visit.count("new_vertices", r.new_vertices);
    visit.count("cuts", r.cuts);
    visit.flag("closed", r.closed);
}

template <typename Visit>
void forEachField(kel_fit_report& r, Visit& visit) {
    visit.count("points", r.points);
    visit.number("point_spacing", r.point_spacing);
    visit.number("noise", r.noise);
    visit.number("radius", r.radius);
    visit.count("corners", r.corners);
    visit.count("on_creases", r.on_creases);
    visit.count("flips", r.flips);
    visit.count("splits", r.splits);
    visit.count("unfolded", r.unfolded);
    visit.count("untangled", r.untangled);
    visit.number("mean_move", r.mean_move);
    visit.number("max_move", r.max_move);
}

template <typename Visit>
void forEachField(kel_reconstruct_report& r, Visit& visit) {
    visit.count("points", r.points);
    visit.count("not_finite", r.not_finite);
    visit.count("far_outliers", r.far_outliers);
    visit.count("strays", r.strays);
    visit.count("added", r.added);
    visit.count("denoised", r.denoised);
    visit.number("point_spacing", r.point_spacing);
    visit.number("cell_edge", r.cell_edge);
    visit.count("cells", r.cells);
    visit.part("before", r.before);
    visit.part("after", r.after);
    visit.part("manifold", r.manifold);
    visit.count("pieces_dropped", r.pieces_dropped);
    visit.count("triangles_dropped", r.triangles_dropped);
    visit.count("holes_closed", r.holes_closed);
    visit.part("fit", r.fit);
    visit.count("crossings", r.crossings);
    visit.count("crossings_left", r.crossings_left);
    visit.count("peak_memory", r.peak_memory);
}

template <typename Visit>
void forEachField(kel_melt_report& r, Visit& visit) {
    visit.count("triangles", r.triangles);
    visit.count("cells", r.cells);
    visit.count("added", r.added);
    visit.part("before", r.before);
    visit.part("after", r.after);
    visit.part("manifold", r.manifold);
    visit.count("holes_closed", r.holes_closed);
    visit.count("peak_memory", r.peak_memory);
}

template <typename Visit>
void forEachField(kel_reduce_report& r, Visit& visit) {
    visit.count("before", r.before);
    visit.count("after", r.after);
    visit.flag("made_manifold", r.made_manifold);
    visit.number("distance", r.distance);
}

template <typename Visit>
void forEachField(kel_smooth_report& r, Visit& visit) {
    visit.flag("made_manifold", r.made_manifold);
    visit.number("mean_move", r.mean_move);
    visit.count("held", r.held);
}

// ---- To and from Python -------------------------------------------------------------------------------------------------

template <typename CStruct>
py::dict dictOf(CStruct c);

/// Collects fields in a dictionary.
class DictWriter {
public:
    void number(const char* name, double value) { dict[name] = value; }
    template <typename Count>
    void count(const char* name, Count value) {
        dict[name] = value;
    }
    void flag(const char* name, int value) { dict[name] = value != 0; }
    template <typename Part>
    void part(const char* name, const Part& value) {
        dict[name] = dictOf(value);
    }

    py::dict dict;
};

/// A struct as a dictionary.
template <typename CStruct>
py::dict dictOf(CStruct c) {
    DictWriter writer;
    forEachField(c, writer);
    return writer.dict;
}

/// Puts the values of keywords into fields. A value of another type is a TypeError that names the keyword.
class KeywordReader {
public:
    explicit KeywordReader(const py::dict& theKeywords) : keywords(theKeywords) {}

    void number(const char* name, double& field) const {
        const py::object value = valueOf(name);
        const double number = PyFloat_AsDouble(value.ptr());
        if (PyErr_Occurred() != nullptr) refuse(name, "a number", value);
        field = number;
    }
    void flag(const char* name, int& field) const {
        const py::object value = valueOf(name);
        if (!PyBool_Check(value.ptr()) && std::string(Py_TYPE(value.ptr())->tp_name) != "numpy.bool_")
            refuse(name, "True or False", value);
        field = value.attr("__bool__")().cast<bool>() ? 1 : 0;
    }
    template <typename Count>
    void count(const char* name, Count& field) const {
        const py::object value = valueOf(name);
        const auto index = py::reinterpret_steal<py::object>(PyNumber_Index(value.ptr()));
        if (!index || PyBool_Check(value.ptr())) refuse(name, "a whole number", value);
        try {
            field = index.cast<Count>();
        } catch (const py::cast_error&) {
            throw py::value_error(std::string(name) + " is " + std::string(py::str(index)) + ", which is out of range");
        }
    }

private:
    py::object valueOf(const char* name) const { return keywords[name]; }

    [[noreturn]] static void refuse(const char* name, const char* wanted, const py::object& value) {
        PyErr_Clear();
        throw py::type_error(std::string(name) + " must be " + wanted + ", not " + Py_TYPE(value.ptr())->tp_name);
    }

    const py::dict& keywords;
};

/// The defaults of the library, changed to what the keywords say; all of them must be there. init: the function of the C
/// interface for this struct.
template <typename COptions>
COptions optionsOf(const py::dict& keywords, void (*init)(COptions*, size_t)) {
    COptions options;
    init(&options, sizeof options);
    const KeywordReader reader(keywords);
    forEachField(options, reader);
    return options;
}
