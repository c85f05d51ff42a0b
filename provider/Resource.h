/* Identifiers of the DLL's resources. */
#define IDR_PROMPT_IMAGE 103
#define IDR_PROMPT_IMAGE_2 104
#define IDB_TILE 105
