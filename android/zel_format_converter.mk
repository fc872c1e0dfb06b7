# For the product's makefile:
#   $(call inherit-product, vendor/zel/format_converter/android/zel_format_converter.mk)
# Set ZEL_FC_PATH before it when the project lies elsewhere in the tree.
ZEL_FC_PATH ?= vendor/zel/format_converter

PRODUCT_PACKAGES += libzel_tinyalsa_format_converter_plugin

# The coefficient files, to be tuned for the product, where the library looks for them by default.
PRODUCT_COPY_FILES += \
    $(ZEL_FC_PATH)/config/voice_channel_delay_coef.json:$(TARGET_COPY_OUT_VENDOR)/tvconfig/config/voc/voice_channel_delay_coef.json \
    $(ZEL_FC_PATH)/config/voice_channel_mixing_coef.json:$(TARGET_COPY_OUT_VENDOR)/tvconfig/config/voc/voice_channel_mixing_coef.json

# The card definition, for an image whose card parser reads it from here and has none yet; else add
# its <card> element to the file that is there.
PRODUCT_COPY_FILES += \
    $(ZEL_FC_PATH)/android/card-defs.xml:$(TARGET_COPY_OUT_VENDOR)/etc/card-defs.xml

# To try it on the device: zel-fc-doctor tells whether card 70 works, zel-fc-doctor32 the same for 32-bit
# processes. tinyalsa's own build calls the other three tinycap2, tinymix2 and tinypcminfo2.
PRODUCT_PACKAGES_DEBUG += zel-fc-doctor tinycap tinymix tinypcminfo
