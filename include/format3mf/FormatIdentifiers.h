#pragma once

// The fixed strings that identify things in a package: XML namespaces,
// relationship types, content types, part names, folders and extensions.
// Every comparison against them is exact and whole-string.

// The three schema roots. The 3MF and OPC roots are those that real files
// use; the vendor root is ours.
#define FORMAT3MF_ROOT_3MF L"http://schemas.microsoft.com"
#define FORMAT3MF_ROOT_OPC L"http://schemas.openxmlformats.org"
#define FORMAT3MF_ROOT_VENDOR L"http://schemas.ondsdk.com"

namespace Format_3MF
{
inline constexpr wchar_t SchemaRoot3MF[] = FORMAT3MF_ROOT_3MF;
inline constexpr wchar_t SchemaRootOPC[] = FORMAT3MF_ROOT_OPC;
inline constexpr wchar_t SchemaRootVendor[] = FORMAT3MF_ROOT_VENDOR;

// XML namespaces of model parts.
inline constexpr wchar_t NamespaceCore2015[] = FORMAT3MF_ROOT_3MF L"/3dmanufacturing/core/2015/02";
inline constexpr wchar_t NamespaceCore2013[] = FORMAT3MF_ROOT_3MF L"/3dmanufacturing/2013/01";
inline constexpr wchar_t NamespaceMaterial[] = FORMAT3MF_ROOT_3MF L"/3dmanufacturing/material/2015/02";
inline constexpr wchar_t NamespaceProduction[] = FORMAT3MF_ROOT_3MF L"/3dmanufacturing/production/2015/06";
inline constexpr wchar_t NamespaceSlice[] = FORMAT3MF_ROOT_3MF L"/3dmanufacturing/slice/2015/07";
inline constexpr wchar_t NamespaceBeamLattice[] = FORMAT3MF_ROOT_3MF L"/3dmanufacturing/beamlattice/2017/02";
inline constexpr wchar_t NamespaceBeamLatticeOndl[] =
    FORMAT3MF_ROOT_VENDOR L"/3dmanufacturing/beamlattice/2017/02";
inline constexpr wchar_t NamespaceToolPath[] = FORMAT3MF_ROOT_VENDOR L"/3dmanufacturing/toolpath/2018/02";
inline constexpr wchar_t NamespaceOndAMX[] = FORMAT3MF_ROOT_VENDOR L"/3dmanufacturing/ondamx-3mf/2016/05";
inline constexpr wchar_t NamespaceDisplacementTextures[] =
    FORMAT3MF_ROOT_VENDOR L"/3dmanufacturing/displacementtextures/2017/03";

// Prefixes under which the writer declares extension namespaces.
inline constexpr wchar_t PrefixMaterial[] = L"m";
inline constexpr wchar_t PrefixProduction[] = L"p";
inline constexpr wchar_t PrefixBeamLattice[] = L"bl";
inline constexpr wchar_t PrefixOndAMX[] = L"ondl";
inline constexpr wchar_t PrefixDisplacementTextures[] = L"dt";

// XML namespaces of the package parts.
inline constexpr wchar_t NamespaceRelationships[] = FORMAT3MF_ROOT_OPC L"/package/2006/relationships";
inline constexpr wchar_t NamespaceContentTypes[] = FORMAT3MF_ROOT_OPC L"/package/2006/content-types";

// Relationship types.
inline constexpr wchar_t RelationshipModel[] = FORMAT3MF_ROOT_3MF L"/3dmanufacturing/2013/01/3dmodel";
inline constexpr wchar_t RelationshipTexture[] = FORMAT3MF_ROOT_3MF L"/3dmanufacturing/2013/01/3dtexture";
inline constexpr wchar_t RelationshipThumbnail[] =
    FORMAT3MF_ROOT_OPC L"/package/2006/relationships/metadata/thumbnail";
inline constexpr wchar_t RelationshipInvalidation[] =
    FORMAT3MF_ROOT_3MF L"/3dmanufacturing/2016/12/invalidation";
inline constexpr wchar_t RelationshipToolPathBinary[] =
    FORMAT3MF_ROOT_VENDOR L"/3dmanufacturing/2016/05/tpbin";
inline constexpr wchar_t RelationshipBuildTicket[] =
    FORMAT3MF_ROOT_VENDOR L"/3dmanufacturing/buildticket/2016/05";
inline constexpr wchar_t RelationshipBuildParameters[] =
    FORMAT3MF_ROOT_VENDOR L"/3dmanufacturing/buildparameters/2016/05";
inline constexpr wchar_t RelationshipBpProfiles[] =
    FORMAT3MF_ROOT_VENDOR L"/3dmanufacturing/bp_profiles/2016/05";
inline constexpr wchar_t RelationshipBinaryModelFile[] = L"BinaryModelFileTemporaryRelationType";

// Content types.
inline constexpr wchar_t ContentTypeModel[] = L"application/vnd.ms-package.3dmanufacturing-3dmodel+xml";
inline constexpr wchar_t ContentTypeTexture[] = L"application/vnd.ms-package.3dmanufacturing-3dmodeltexture";
inline constexpr wchar_t ContentTypeInvalidation[] =
    L"application/vnd.ms-package.3dmanufacturing-invalidation+xml";
inline constexpr wchar_t ContentTypeRelationships[] =
    L"application/vnd.openxmlformats-package.relationships+xml";
inline constexpr wchar_t ContentTypeBuildTicket[] = L"application/vnd.ondl-3mfpackage.buildticket+xml";
inline constexpr wchar_t ContentTypeBuildParameters[] =
    L"application/vnd.ondl-3mfpackage.buildparameters+xml";
inline constexpr wchar_t ContentTypeBpProfiles[] = L"application/vnd.ondl-3mfpackage.bp_profiles";
inline constexpr wchar_t ContentTypeBinaryModelFile[] = L"application/BinaryModelFileTemporaryContentType";
inline constexpr wchar_t ContentTypePng[] = L"image/png";
inline constexpr wchar_t ContentTypeJpeg[] = L"image/jpeg";

// Extensions under which the content types part lists the content types.
inline constexpr wchar_t ExtensionContentModel[] = L"model";
inline constexpr wchar_t ExtensionContentTexture[] = L"png";
inline constexpr wchar_t ExtensionContentRelationships[] = L"rels";
inline constexpr wchar_t ExtensionContentBinaryModelFile[] = L"bin";

// Fixed part names, folders and extensions.
inline constexpr wchar_t PartNameDefaultModel[] = L"/3D/3dmodel.model";
inline constexpr wchar_t FolderModelMetadata[] = L"/3D/Metadata";
inline constexpr wchar_t FolderThumbnails[] = L"/Metadata";
inline constexpr wchar_t PartNameInvalidation[] = L"/Metadata/InvalidationParts.xml";
inline constexpr wchar_t FolderTextures[] = L"/3D/Textures2D/";
inline constexpr wchar_t PartNameContentTypes[] = L"[Content_Types].xml";
inline constexpr wchar_t FolderRelationships[] = L"_rels";
inline constexpr wchar_t ExtensionRelationships[] = L".rels";
inline constexpr wchar_t ExtensionModel[] = L".model";
inline constexpr wchar_t ExtensionBinaryModelFile[] = L".bin";
inline constexpr wchar_t ExtensionPng[] = L".png";
inline constexpr wchar_t ExtensionJpg[] = L".jpg";
inline constexpr wchar_t ExtensionJpeg[] = L".jpeg";
inline constexpr wchar_t FolderObjects[] = L"Objects";
inline constexpr wchar_t BaseNameObjects[] = L"Object.model";
inline constexpr wchar_t FolderSlices[] = L"Slices";
inline constexpr wchar_t BaseNameSlices[] = L"Slices.model";
} // namespace Format_3MF
