/// @file kel_c.h
/// The library for C, and for all languages that can call C.
///
///     kel_points* points = NULL;
///     kel_mesh* mesh = NULL;
///     kel_status status = kel_points_read("scan.xyz", &points);
///     if (status == KEL_OK) status = kel_reconstruct(points, NULL, NULL, &mesh);
///     if (status == KEL_OK) status = kel_mesh_write(mesh, "mesh.ply", NULL);
///     if (status != KEL_OK) fprintf(stderr, "%s\n", kel_last_error());
///     kel_mesh_free(mesh);
///     kel_points_free(points);
///
/// What the functions do is described in the C++ headers in kel/, under the names that the comments here give. Lengths are
/// in the unit of the points, angles in degrees.
///
/// Handles: kel_points, kel_mesh, kel_attributes, kel_pairs and kel_stop belong to the caller, who frees them; the functions
/// that free accept NULL.
/// Results are written through the last arguments, only where the status is KEL_OK. A handle serves one thread at a time,
/// except kel_stop. Different handles may be used on different threads.
///
/// Options: NULL stands for the defaults. Otherwise call the function that ends with _init on a struct, with its size, and
/// change what is to be different. The size says which fields the caller knows, so a program keeps working with a later
/// library whose structs have more. Reports: set `size`, such as `report.size = sizeof report`; NULL asks for none. Structs
/// without a size never change. Fields that ask or answer a question are 0 for no and else yes.
///
/// Failure: each function returns a status, and kel_last_error() says in words what was wrong. No C++ exception leaves a
/// function, and nothing is printed: kel_set_message_handler() hears what there is to tell.
#ifndef KEL_C_H
#define KEL_C_H

// This is C, which the checks of our C++ don't know.
// NOLINTBEGIN(modernize-deprecated-headers,modernize-redundant-void-arg,modernize-use-using,readability-identifier-naming)

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Outcome ------------------------------------------------------------------------------------------------------------
 */

/// How a call ended.
typedef enum kel_status {
    KEL_OK = 0,             ///< As asked.
    KEL_NOTHING = 1,        ///< The input yields no mesh or no length; the text says why.
    KEL_BAD_ARGUMENT = 2,   ///< An argument that can't be: NULL, a size, a number out of range. Nothing was done.
    KEL_BAD_FILE = 3,       ///< A file can't be read or written.
    KEL_STOPPED = 4,        ///< The progress function or a kel_stop ended the run.
    KEL_OUT_OF_MEMORY = 5,  ///< Memory ran out.
    KEL_FAILED = 6          ///< A condition of the library was violated; the text is its report.
} kel_status;

/// What was wrong in the last call on this thread that returned a status other than KEL_OK. Valid until the next call on
/// this thread; never NULL.
const char* kel_last_error(void);

/// The version of the library, such as 1 and 12. Both pointers may be NULL.
void kel_version(int* major, int* minor);

/// As setNumThreads(): how many threads the library uses in the whole process; 0 for one per processor.
kel_status kel_set_num_threads(int num_threads);

/* ---- Listening ----------------------------------------------------------------------------------------------------------
 */

/// Hears the progress of a run some 30 to 200 times, on the thread of the run; of crossings and of columns only the end.
/// While workers are busy it hears the same fraction again, twenty times a second, and a worker may send a message
/// meanwhile.
///
/// name is the kind of run, such as "Reconstruct"; fraction goes from 0.0 to 1.0; data is what was given with the function.
/// Any return value but 0 ends the run, which returns KEL_STOPPED. From here meshes can't be looked at or changed, and no
/// run can be started: such calls return KEL_BAD_ARGUMENT.
typedef int (*kel_progress)(const char* name, double fraction, void* data);

/// Sets the progress function of all later runs of this thread; NULL for none.
void kel_set_progress(kel_progress progress, void* data);

/// The kinds of messages.
typedef enum kel_message_kind {
    KEL_MESSAGE_TEXT = 0,     ///< What was found and done.
    KEL_MESSAGE_INFO = 1,     ///< The same, with its place in the code.
    KEL_MESSAGE_WARNING = 2,  ///< Input that yields nothing, or was used only in part.
    KEL_MESSAGE_ERROR = 3     ///< A failure.
} kel_message_kind;

/// Hears a message: text without colours, without line ends around it, valid during the call. Sometimes called on a thread
/// of the library, one call at a time. Mustn't call the library.
typedef void (*kel_message_handler)(kel_message_kind kind, const char* text, void* data);

/// Sets who hears the messages of all later calls of this thread; NULL for nobody.
void kel_set_message_handler(kel_message_handler handler, void* data);

/// A flag that ends runs, from any thread.
typedef struct kel_stop kel_stop;

/// Makes a flag that isn't set.
kel_status kel_stop_create(kel_stop** stop);
/// Sets the flag, or clears it with 0. Any thread may call this while runs use it.
void kel_stop_set(kel_stop* stop, int value);
/// Frees the flag; no run may still use it.
void kel_stop_free(kel_stop* stop);

/* ---- Points -------------------------------------------------------------------------------------------------------------
 */

/// Points, in an order.
typedef struct kel_points kel_points;

/// The numbers that coordinates are given as.
typedef enum kel_number { KEL_FLOAT32 = 4, KEL_FLOAT64 = 8 } kel_number;

/// Copies points from x, y, z, x, y, z, ... xyz may be NULL when num_points is 0.
kel_status kel_points_create(const double* xyz, size_t num_points, kel_points** points);

/// Copies points from memory of any layout: coordinate j of point i is at data + i * row_stride + j * column_stride, in
/// bytes, which may be negative and needn't be aligned.
kel_status kel_points_create_strided(const void* data, kel_number number, size_t num_points, ptrdiff_t row_stride,
                                     ptrdiff_t column_stride, kel_points** points);

/// Points that lie where they are, at x, y, z, x, y, z, ...: they must stay there, unchanged, until the handle is freed.
/// kel_reconstruct() and kel_mesh_fit() take 24 bytes less for each point then; others copy them while they work. xyz may
/// be NULL when num_points is 0.
kel_status kel_points_borrow(const double* xyz, size_t num_points, kel_points** points);

/// As readPointFile(): points from a file of any format that has some.
kel_status kel_points_read(const char* filename, kel_points** points);

/// As writePoints_auto() and writePoints_LAS(): .xyz, .txt, .asc, .bin, .ply, .las or .list. Text has 17 digits; a .ply is
/// binary and as precise as it needs to be.
kel_status kel_points_write(const kel_points* points, const char* filename);

/// The number of points; 0 for NULL.
size_t kel_points_count(const kel_points* points);
/// The coordinates, three for each point; valid until the points are freed. NULL for NULL.
const double* kel_points_data(const kel_points* points);
/// Frees points.
void kel_points_free(kel_points* points);

/* ---- What points carry ------------------------------------------------------------------------------------------------ */

/// As PointAttributes: columns with different names and a row for each point, or for each vertex of a mesh.
typedef struct kel_attributes kel_attributes;

/// The numbers of a column, as AttributeValues.
typedef enum kel_type {
    KEL_TYPE_INT8 = 0,
    KEL_TYPE_UINT8 = 1,
    KEL_TYPE_INT16 = 2,
    KEL_TYPE_UINT16 = 3,
    KEL_TYPE_INT32 = 4,
    KEL_TYPE_UINT32 = 5,
    KEL_TYPE_INT64 = 6,
    KEL_TYPE_UINT64 = 7,
    KEL_TYPE_FLOAT32 = 8,
    KEL_TYPE_FLOAT64 = 9
} kel_type;

/// What the numbers of a column mean, as AttributeKind: its name and its type tell, see PointAttributes.
typedef enum kel_kind {
    KEL_KIND_NUMBER = 0,  ///< Anything else.
    KEL_KIND_COLOUR = 1,  ///< A channel of a colour.
    KEL_KIND_NORMAL = 2,  ///< A component of a direction.
    KEL_KIND_CLASS = 3    ///< A name in the form of a number.
} kel_kind;

/// A column.
typedef struct kel_column {
    const char* name;              ///< Not empty.
    kel_type type;                 ///< Of the values.
    kel_kind kind;                 ///< An answer only: kel_attributes_set() doesn't look at it.
    size_t rows;                   ///< The number of values.
    const void* values;            ///< As many numbers of the type. May be NULL without rows.
    const unsigned char* missing;  ///< For each value whether nobody knows it; NULL when all are known. An answer has NULL
                                   ///< for floating point numbers: there, those that aren't known are NaN.
} kel_column;

/// Makes attributes without a column.
kel_status kel_attributes_create(kel_attributes** attributes);
/// Frees attributes.
void kel_attributes_free(kel_attributes* attributes);
/// The number of columns; 0 for NULL.
size_t kel_attributes_count(const kel_attributes* attributes);

/// Shows a column, from 0, in their order. What it points to is valid until the attributes are changed or freed. Cost: O(n)
/// for a colour of floating point numbers, else O(1).
kel_status kel_attributes_column(const kel_attributes* attributes, size_t index, kel_column* column);

/// Adds a column, in place of one of that name. All is copied. It must have as many rows as the other columns.
kel_status kel_attributes_set(kel_attributes* attributes, const kel_column* column);

/// As readPointFile() and readPoints_LAS(): points with what they carry.
///
/// classes: of the points to be read, each from 0 to 255, for a LAS file; NULL and 0 for all. attributes may be NULL:
/// columns aren't read then. num_others, which may be NULL: how many points are of other classes.
kel_status kel_points_read_with(const char* filename, const int* classes, size_t num_classes, kel_points** points,
                                kel_attributes** attributes, size_t* num_others);

/// As kel_points_write(), with what the points carry: all of it in a .ply, what writePoints_LAS() says in a .las, a colour
/// or else a normal in a text. A warning names columns that the file can't hold. attributes may be NULL; else they have a
/// row for each point.
kel_status kel_points_write_with(const kel_points* points, const kel_attributes* attributes, const char* filename);

/* ---- Spacing ---------------------------------------------------------------------------------------------------------- */

/// As estimateAvgSpacing(): the mean spacing of points.
kel_status kel_spacing(const kel_points* points, double* spacing);

/* ---- What a run reports --------------------------------------------------------------------------------------------------
 */

/// As MeshFlaws.
typedef struct kel_mesh_flaws {
    size_t border_edges;        ///< numBorderEdges
    size_t non_manifold_edges;  ///< numNonManifoldEdges
    size_t pinched_vertices;    ///< numPinchedVertices
    size_t conflicts;           ///< numConflicts
} kel_mesh_flaws;

/// As ManifoldReport.
typedef struct kel_manifold_report {
    size_t flat;          ///< numFlat
    size_t duplicates;    ///< numDuplicates
    size_t membranes;     ///< numMembranes
    size_t splinters;     ///< numSplinters
    size_t turned;        ///< numTurned
    size_t new_vertices;  ///< numNewVertices
    size_t cuts;          ///< numCuts
    int closed;           ///< bClosed
} kel_manifold_report;

/// As FitReport.
typedef struct kel_fit_report {
    size_t points;         ///< numPoints
    double point_spacing;  ///< pointSpacing
    double noise;          ///< noise
    double radius;         ///< radius
    size_t corners;        ///< numCorners
    size_t on_creases;     ///< numOnCreases
    size_t flips;          ///< numFlips
    size_t splits;         ///< numSplits
    size_t unfolded;       ///< numUnfolded
    size_t untangled;      ///< numUntangled
    double mean_move;      ///< meanMove
    double max_move;       ///< maxMove
} kel_fit_report;

/// The number of steps of the last run of this thread that was given a report, also of one that failed.
size_t kel_num_steps(void);
/// The name of a step; NULL when there are not that many. Valid until the next run of this thread.
const char* kel_step_name(size_t index);
/// How many seconds a step took; 0.0 when there are not that many.
double kel_step_seconds(size_t index);

/* ---- Meshes from points --------------------------------------------------------------------------------------------------
 */

/// A triangle mesh.
typedef struct kel_mesh kel_mesh;

/// As ReconstructOptions.
typedef struct kel_reconstruct_options {
    size_t size;            ///< Of the struct that the caller knows.
    double spacing;         ///< spacing
    double factor;          ///< factor
    int has_origin;         ///< Whether origin counts.
    double origin[3];       ///< origin
    int outliers;           ///< bOutliers
    int even;               ///< bEven
    int laplacian;          ///< bLaplacian
    int grow;               ///< numGrowSteps
    int careful_growth;     ///< bCarefulGrowth
    int manifold;           ///< bManifold
    double min_piece_area;  ///< minPieceArea
    int max_pinhole_edges;  ///< maxPinholeEdges
    int max_hole_edges;     ///< maxHoleEdges
    int no_crossings;       ///< bNoCrossings
    int fit;                ///< bFit
    int denoise;            ///< bDenoise
    int threads;            ///< numThreads
    kel_progress progress;  ///< In place of that of the thread.
    void* progress_data;    ///< Passed to progress.
    const kel_stop* stop;   ///< Ends the run when it is set; may be NULL.
} kel_reconstruct_options;

/// Sets the defaults. size: sizeof *options.
void kel_reconstruct_options_init(kel_reconstruct_options* options, size_t size);

/// As ReconstructReport.
typedef struct kel_reconstruct_report {
    size_t size;                   ///< Of the struct that the caller knows.
    size_t points;                 ///< numPoints
    size_t not_finite;             ///< numNotFinite
    size_t far_outliers;           ///< numFarOutliers
    size_t strays;                 ///< numStrays
    size_t added;                  ///< numAdded
    size_t denoised;               ///< numDenoised
    double point_spacing;          ///< pointSpacing
    double cell_edge;              ///< cellEdge
    size_t cells;                  ///< numCells
    kel_mesh_flaws before;         ///< before
    kel_mesh_flaws after;          ///< after
    kel_manifold_report manifold;  ///< manifold
    size_t pieces_dropped;         ///< numPiecesDropped
    size_t triangles_dropped;      ///< numTrianglesDropped
    int holes_closed;              ///< numHolesClosed
    kel_fit_report fit;            ///< fit
    size_t crossings;              ///< numCrossings
    size_t crossings_left;         ///< numCrossingsLeft
    size_t peak_memory;            ///< peakMemory
} kel_reconstruct_report;

/// As reconstruct() with options.
kel_status kel_reconstruct(const kel_points* points, const kel_reconstruct_options* options, kel_reconstruct_report* report,
                           kel_mesh** mesh);

/* ---- Triangle soups ------------------------------------------------------------------------------------------------------
 */

/// As MeltOptions. Only the spacing has no default.
typedef struct kel_melt_options {
    size_t size;            ///< Of the struct that the caller knows.
    double spacing;         ///< spacing
    double feature_angle;   ///< featureAngle
    int complete;           ///< bComplete
    int manifold;           ///< bManifold
    int max_pinhole_edges;  ///< maxPinholeEdges
    int max_hole_edges;     ///< maxHoleEdges
    int threads;            ///< numThreads
    kel_progress progress;  ///< In place of that of the thread.
    void* progress_data;    ///< Passed to progress.
    const kel_stop* stop;   ///< Ends the run when it is set; may be NULL.
} kel_melt_options;

/// Sets the defaults. size: sizeof *options.
void kel_melt_options_init(kel_melt_options* options, size_t size);

/// As MeltReport.
typedef struct kel_melt_report {
    size_t size;                   ///< Of the struct that the caller knows.
    size_t triangles;              ///< numTriangles
    size_t cells;                  ///< numCells
    size_t added;                  ///< numAdded
    kel_mesh_flaws before;         ///< before
    kel_mesh_flaws after;          ///< after
    kel_manifold_report manifold;  ///< manifold
    int holes_closed;              ///< numHolesClosed
    size_t peak_memory;            ///< peakMemory
} kel_melt_report;

/// Makes triangle corners, three for each triangle, of numbered vertices: what kel_melt() and kel_cloud() take.
///
/// triangles has three positions in vertices for each triangle, counted from 0.
kel_status kel_corners_create(const kel_points* vertices, const int32_t* triangles, size_t num_triangles,
                              kel_points** corners);

/// As readTriangles_auto(): the corners of all triangles of a file.
kel_status kel_corners_read(const char* filename, kel_points** corners);

/// As melt() with options. corners: three for each triangle.
kel_status kel_melt(const kel_points* corners, const kel_melt_options* options, kel_melt_report* report, kel_mesh** mesh);

/// As toCloud(). feature_angle: 0 or greater, usually 20 to 40.
kel_status kel_cloud(const kel_points* corners, double spacing, double feature_angle, kel_points** points);

/* ---- Meshes as arrays and files
 * ------------------------------------------------------------------------------------------- */

/// As makeMesh(): a mesh of numbered vertices, cleaned up. join: vertices at one place become one.
kel_status kel_mesh_create(const kel_points* vertices, const int32_t* triangles, size_t num_triangles, int join,
                           kel_mesh** mesh);

/// A mesh of exactly these triangles on the vertices that they use, without a clean-up; for arrays that came from
/// kel_mesh_arrays(). It may have no triangle.
///
/// side is what kel_mesh_side() said. A triangle with a corner twice and a coordinate that isn't finite are refused.
kel_status kel_mesh_restore(const kel_points* vertices, const int32_t* triangles, size_t num_triangles, double side,
                            kel_mesh** mesh);

/// As readMesh_auto(). join: vertices at one place become one; those of an STL always do.
kel_status kel_mesh_read(const char* filename, int join, kel_mesh** mesh);

/// How kel_mesh_write() writes.
typedef struct kel_write_options {
    size_t size;     ///< Of the struct that the caller knows.
    int ascii;       ///< A .ply as text.
    int precision;   ///< 0: as it needs to be, 4: single, 8: double, as Precision.
    int normals;     ///< Normals of vertices in an .obj.
    int stl_binary;  ///< An .stl as bytes, in single precision.
} kel_write_options;

/// Sets the defaults: a binary .ply, as precise as it needs to be, an .stl as text, no normals. size: sizeof *options.
void kel_write_options_init(kel_write_options* options, size_t size);

/// Writes a mesh: .ply, .stl, .obj, .off, or .list, a drawing for the Geomview viewer. A failure leaves an older file as it
/// was.
kel_status kel_mesh_write(kel_mesh* mesh, const char* filename, const kel_write_options* options);

/// As kel_mesh_write(), with what the vertices carry: all of it in a .ply, colours and normals in an .obj or .off. A warning
/// names columns that the file can't hold. of_vertices may be NULL; else they have a row for each vertex of
/// kel_mesh_arrays().
kel_status kel_mesh_write_with(kel_mesh* mesh, const kel_attributes* of_vertices, const char* filename,
                               const kel_write_options* options);

/// As transferAttributes(): gives the vertices of a mesh what the points carry of which it was made. For the mesh as it is:
/// after each change of it they are another set.
///
/// of_points: a row for each point. length: how far a point may be from its vertex, such as the cell_edge of the report; 0
/// for the mean length of the edges. of_vertices: new, a row for each vertex of kel_mesh_arrays().
kel_status kel_attributes_transfer(const kel_attributes* of_points, const kel_points* points, kel_mesh* mesh, double length,
                                   kel_attributes** of_vertices);

/// How many vertices and triangles a mesh has. Cost: O(n). Both pointers may be NULL.
kel_status kel_mesh_sizes(kel_mesh* mesh, size_t* num_vertices, size_t* num_triangles);

/// Copies the vertices, three coordinates each, and the triangles, three positions in them each, into arrays of the caller,
/// which hold as many as kel_mesh_sizes() said. Either may be NULL.
kel_status kel_mesh_arrays(kel_mesh* mesh, double* vertices, int32_t* triangles);

/// As vertexNormals(): copies three components for each vertex into an array of the caller. A vertex without a direction of
/// its own has zeros. Cost: O(n).
kel_status kel_mesh_normals(kel_mesh* mesh, double* normals);

/// The edge of the cells that a mesh was made on, its unit of small moves; 0.0 for NULL.
double kel_mesh_side(const kel_mesh* mesh);

/// Another mesh that is the same.
kel_status kel_mesh_copy(kel_mesh* mesh, kel_mesh** copy);

/// Frees a mesh.
void kel_mesh_free(kel_mesh* mesh);

/// Counts border edges and faults of a mesh. Cost: O(n).
kel_status kel_mesh_count_flaws(kel_mesh* mesh, kel_mesh_flaws* flaws);

/// As countSelfIntersections().
kel_status kel_mesh_count_crossings(kel_mesh* mesh, size_t* crossings);

/// Pairs of numbers, in an order.
typedef struct kel_pairs kel_pairs;

/// As countSelfIntersections() with pairs: which triangles pass through each other, as positions in the triangles of
/// kel_mesh_arrays(), the smaller one first. The pairs are sorted.
kel_status kel_mesh_list_crossings(kel_mesh* mesh, kel_pairs** pairs);

/// The number of pairs; 0 for NULL.
size_t kel_pairs_count(const kel_pairs* pairs);
/// Two numbers for each pair; valid until the pairs are freed. NULL for NULL.
const size_t* kel_pairs_data(const kel_pairs* pairs);
/// Frees pairs.
void kel_pairs_free(kel_pairs* pairs);

/* ---- Changing a mesh in place
 * ---------------------------------------------------------------------------------------------- */

/// As KeepOptions.
typedef struct kel_keep_options {
    size_t size;       ///< Of the struct that the caller knows.
    int manifold;      ///< bManifold
    int no_crossings;  ///< bNoCrossings
} kel_keep_options;

/// Sets the defaults. size: sizeof *options.
void kel_keep_options_init(kel_keep_options* options, size_t size);

/// As makeManifold(). report may be NULL.
kel_status kel_mesh_make_manifold(kel_mesh* mesh, int no_crossings, kel_manifold_report* report);

/// As removeSelfIntersections(). left, which may be NULL: the number of those that are left.
kel_status kel_mesh_remove_crossings(kel_mesh* mesh, size_t* left);

/// As FitOptions.
typedef struct kel_fit_options {
    size_t size;       ///< Of the struct that the caller knows.
    double cell_edge;  ///< cellEdge
    int noise;         ///< bNoise
    int unused;        ///< Not used: structs of older callers end with this gap.
    int no_crossings;  ///< bNoCrossings
} kel_fit_options;

/// Sets the defaults. size: sizeof *options.
void kel_fit_options_init(kel_fit_options* options, size_t size);

/// As fit(). report may be NULL.
kel_status kel_mesh_fit(kel_mesh* mesh, const kel_points* points, const kel_fit_options* options, kel_fit_report* report);

/// As ReduceOptions.
typedef struct kel_reduce_options {
    size_t size;           ///< Of the struct that the caller knows.
    size_t triangles;      ///< numTriangles
    double max_distance;   ///< maxDistance
    int move_vertices;     ///< bMoveVertices
    int keep_borders;      ///< bKeepBorders
    int keep_features;     ///< bKeepFeatures
    double feature_angle;  ///< featureAngle
    int no_crossings;      ///< bNoCrossings
    int fit;               ///< bFit
} kel_reduce_options;

/// Sets the defaults. size: sizeof *options.
void kel_reduce_options_init(kel_reduce_options* options, size_t size);

/// As ReduceReport.
typedef struct kel_reduce_report {
    size_t size;        ///< Of the struct that the caller knows.
    size_t before;      ///< numBefore
    size_t after;       ///< numAfter
    int made_manifold;  ///< bMadeManifold
    double distance;    ///< distance
} kel_reduce_report;

/// As reduce() with options, one of which must give a number of triangles or a distance.
kel_status kel_mesh_reduce(kel_mesh* mesh, const kel_reduce_options* options, kel_reduce_report* report);

/// As reduce() by a length and an angle, 0 or greater. removed, which may be NULL: the number of triangles removed.
kel_status kel_mesh_collapse(kel_mesh* mesh, double max_edge_length, double max_angle, const kel_keep_options* keep,
                             int* removed);

/// The ways of smoothing, as SmoothMethod.
typedef enum kel_smooth_method {
    KEL_SMOOTH_TAUBIN = 0,    ///< Round shapes.
    KEL_SMOOTH_BILATERAL = 1  ///< Edged shapes.
} kel_smooth_method;

/// As SmoothOptions.
typedef struct kel_smooth_options {
    size_t size;        ///< Of the struct that the caller knows.
    int method;         ///< method, a kel_smooth_method
    int rounds;         ///< numRounds
    int keep_borders;   ///< bKeepBorders
    double pass_band;   ///< passBand
    double edge_angle;  ///< edgeAngle
    int no_crossings;   ///< bNoCrossings
} kel_smooth_options;

/// Sets the defaults. size: sizeof *options.
void kel_smooth_options_init(kel_smooth_options* options, size_t size);

/// As SmoothReport.
typedef struct kel_smooth_report {
    size_t size;        ///< Of the struct that the caller knows.
    int made_manifold;  ///< bMadeManifold
    double mean_move;   ///< meanMove
    size_t held;        ///< numHeld
} kel_smooth_report;

/// As smooth().
kel_status kel_mesh_smooth(kel_mesh* mesh, const kel_smooth_options* options, kel_smooth_report* report);

/// As laplacianSmoothing().
kel_status kel_mesh_laplacian(kel_mesh* mesh, int rounds, const kel_keep_options* keep);

/// As edgeFlips(); as edgeFlipsSimA() with annealing.
kel_status kel_mesh_flip(kel_mesh* mesh, int annealing, const kel_keep_options* keep);

/// As fillHoles(). closed, which may be NULL: the number of holes closed.
kel_status kel_mesh_fill(kel_mesh* mesh, int max_edges, const kel_keep_options* keep, int* closed);

#ifdef __cplusplus
}
#endif

// NOLINTEND(modernize-deprecated-headers,modernize-redundant-void-arg,modernize-use-using,readability-identifier-naming)

#endif
