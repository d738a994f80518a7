/**
 * The values that travel between a program and a PKCS#11 token: information about the module, its slots and its tokens,
 * attributes, mechanisms, and the exception by which every failure arrives.
 *
 * <p>Numbers are those of the PKCS#11 standard: {@code CKA_}, {@code CKM_}, {@code CKF_} and {@code CKR_} constants.
 * They arrive as {@code int}, so a constant from 0x80000000 on is negative in Java.
 */
package velnor;
